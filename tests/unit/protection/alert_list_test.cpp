#include "protection/alert_list.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::int64_t t0 = 1'700'000'000'000;

alert_change raise(alert_list& list, const std::string& key, std::int64_t now = t0) {
    return list.raise(key, "message of " + key, alert_severity::warning, now);
}

// 200 active alerts with the keys k0 to k199.
alert_list full_list() {
    alert_list list;
    for (int each = 0; each < 200; ++each)
        raise(list, std::string("k").append(std::to_string(each)));
    return list;
}

bool holds(const alert_list& list, const std::string& key) {
    for (const alert_record& record : list.records())
        if (record.key == key) return true;
    return false;
}

} // namespace

TEST(alert_list, raises_a_fresh_record_with_the_first_id_one) {
    alert_list list;
    EXPECT_EQ(list.raise("k", "broken", alert_severity::critical, t0), alert_change::raised);
    ASSERT_EQ(list.records().size(), 1U);
    const alert_record& record = list.records()[0];
    EXPECT_EQ(record.id, 1U);
    EXPECT_EQ(record.key, "k");
    EXPECT_EQ(record.message, "broken");
    EXPECT_EQ(record.severity, alert_severity::critical);
    EXPECT_EQ(record.started, t0);
    EXPECT_EQ(record.recovered, 0);
    EXPECT_TRUE(record.active);
    EXPECT_FALSE(record.acknowledged);
}

TEST(alert_list, keeps_the_text_and_severity_of_an_alert_that_is_raised_again_while_active) {
    alert_list list;
    list.raise("k", "first", alert_severity::warning, t0);
    EXPECT_EQ(list.raise("k", "second", alert_severity::critical, t0 + 5), alert_change::none);
    ASSERT_EQ(list.records().size(), 1U);
    EXPECT_EQ(list.records()[0].message, "first");
    EXPECT_EQ(list.records()[0].severity, alert_severity::warning);
    EXPECT_EQ(list.records()[0].started, t0);
}

TEST(alert_list, clears_only_what_is_active) {
    alert_list list;
    EXPECT_EQ(list.clear("k", t0), alert_change::none);
    raise(list, "k");
    EXPECT_EQ(list.clear("other", t0 + 1), alert_change::none);
    EXPECT_EQ(list.clear("k", t0 + 2), alert_change::recovered);
    EXPECT_EQ(list.clear("k", t0 + 3), alert_change::none);
    ASSERT_EQ(list.records().size(), 1U);
    EXPECT_FALSE(list.records()[0].active);
    EXPECT_EQ(list.records()[0].recovered, t0 + 2);
}

TEST(alert_list, makes_a_new_record_of_an_alert_that_comes_back) {
    alert_list list;
    raise(list, "k");
    list.clear("k", t0 + 1);
    EXPECT_EQ(raise(list, "k", t0 + 2), alert_change::raised);
    ASSERT_EQ(list.records().size(), 2U);
    EXPECT_EQ(list.records()[0].id, 1U);
    EXPECT_FALSE(list.records()[0].active);
    EXPECT_EQ(list.records()[0].recovered, t0 + 1);
    EXPECT_EQ(list.records()[1].id, 2U);
    EXPECT_EQ(list.records()[1].started, t0 + 2);
    EXPECT_TRUE(list.records()[1].active);
}

TEST(alert_list, acknowledges_all_that_stand_and_none_that_come_later) {
    alert_list list;
    raise(list, "over");
    list.clear("over", t0 + 1);
    raise(list, "standing");
    list.acknowledge_all();
    EXPECT_TRUE(list.records()[0].acknowledged);
    EXPECT_TRUE(list.records()[1].acknowledged);
    EXPECT_TRUE(list.records()[1].active);
    list.clear("standing", t0 + 2);
    raise(list, "standing", t0 + 3);
    EXPECT_FALSE(list.records().back().acknowledged);
}

TEST(alert_list, recovers_all_that_are_active_and_leaves_older_recoveries_alone) {
    alert_list list;
    raise(list, "over");
    list.clear("over", t0 + 1);
    raise(list, "a");
    raise(list, "b");
    list.recover_all(t0 + 9);
    EXPECT_EQ(list.records()[0].recovered, t0 + 1);
    for (const std::size_t at : {1U, 2U}) {
        EXPECT_FALSE(list.records()[at].active);
        EXPECT_EQ(list.records()[at].recovered, t0 + 9);
    }
    EXPECT_EQ(raise(list, "a", t0 + 10), alert_change::raised);
}

TEST(alert_list, holds_two_hundred_records_and_drops_the_oldest_of_them_if_all_are_active) {
    alert_list list = full_list();
    EXPECT_EQ(list.records().size(), 200U);
    EXPECT_TRUE(holds(list, "k0"));
    EXPECT_EQ(raise(list, "new"), alert_change::raised);
    EXPECT_EQ(list.records().size(), 200U);
    EXPECT_FALSE(holds(list, "k0"));
    EXPECT_TRUE(holds(list, "k1"));
    EXPECT_EQ(list.records().back().id, 201U);
}

TEST(alert_list, drops_the_oldest_recovered_record_before_any_active_one) {
    alert_list list = full_list();
    list.clear("k7", t0 + 1);
    list.clear("k1", t0 + 2);
    raise(list, "new");
    EXPECT_EQ(list.records().size(), 200U);
    EXPECT_TRUE(holds(list, "k0"));
    EXPECT_FALSE(holds(list, "k1"));
    EXPECT_TRUE(holds(list, "k7"));
    EXPECT_EQ(list.records().front().key, "k0");
    EXPECT_EQ(list.records().back().key, "new");
}

TEST(alert_list, makes_no_room_for_an_alert_that_stands_already) {
    alert_list list = full_list();
    EXPECT_EQ(raise(list, "k5"), alert_change::none);
    EXPECT_TRUE(holds(list, "k0"));
}

TEST(alert_list, raises_anew_and_never_clears_what_had_to_make_room) {
    alert_list list = full_list();
    raise(list, "new");
    EXPECT_EQ(list.clear("k0", t0 + 1), alert_change::none);
    EXPECT_EQ(raise(list, "k0", t0 + 2), alert_change::raised);
    EXPECT_EQ(list.records().back().id, 202U);
    EXPECT_FALSE(holds(list, "k1"));
}
