#include "protection/policy.hpp"

#include <gtest/gtest.h>

#include <functional>

using namespace elvantris::operator_control;

namespace {

constexpr const char* delays_rule =
    "Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.";
constexpr const char* resources_rule = "Resource pressure supports Ignore or Alert only.";
constexpr const char* modes_rule = "Choose Ignore, Alert only, or Alert + failover.";
constexpr const char* counts_rule = "Maximum 128 output rules and 32 outbound actions.";
constexpr const char* outputs_rule =
    "Each protected output needs a unique Main output; failover rules also need a Backup output.";
constexpr const char* actions_rule =
    "Check action destination, event, timeout, delay, and retry settings.";
constexpr const char* accepted = "";

output_rule rule(const std::string& main_id, const std::string& backup_id, fault_mode mode) {
    output_rule made;
    made.mainId = main_id;
    made.backupId = backup_id;
    made.mode = mode;
    return made;
}

outbound_action enabled_action() {
    outbound_action action;
    action.name = "Matrix";
    action.host = "10.0.0.9";
    action.port = 9000;
    action.payload = "GO";
    action.enabled = true;
    return action;
}

// A default policy with one enabled action; the change concerns that action.
std::function<void(protection_policy&)>
action_with(const std::function<void(outbound_action&)>& change) {
    return [change](protection_policy& policy) {
        policy.actions.push_back(enabled_action());
        change(policy.actions.back());
    };
}

struct policy_case {
    std::string what;
    std::function<void(protection_policy&)> change;
    std::string error;
};

void expect_judged(const std::vector<policy_case>& cases) {
    for (const policy_case& each : cases) {
        SCOPED_TRACE(each.what);
        protection_policy policy;
        each.change(policy);
        std::string error;
        EXPECT_EQ(validate_policy(policy, error), each.error.empty());
        EXPECT_EQ(error, each.error);
    }
}

std::string error_of(const protection_policy& policy) {
    std::string error;
    validate_policy(policy, error);
    return error;
}

void expect_defaults(const protection_policy& policy) {
    EXPECT_TRUE(policy.armed);
    EXPECT_FALSE(policy.audible);
    EXPECT_EQ(policy.lossMs, 1000U);
    EXPECT_EQ(policy.stallMs, 1500U);
    EXPECT_EQ(policy.outputMs, 1000U);
    EXPECT_EQ(policy.startupMs, 5000U);
    EXPECT_EQ(policy.server, mode_failover);
    EXPECT_EQ(policy.engine, mode_failover);
    EXPECT_EQ(policy.responsive, mode_failover);
    EXPECT_EQ(policy.frames, mode_failover);
    EXPECT_EQ(policy.sync, mode_alert);
    EXPECT_EQ(policy.clock, mode_alert);
    EXPECT_EQ(policy.resources, mode_alert);
    EXPECT_TRUE(policy.outputRules.empty());
    EXPECT_TRUE(policy.actions.empty());
}

constexpr const char* full_policy =
    R"({"armed":false,"audible":true,"lossMs":501,"stallMs":502,"outputMs":503,"startupMs":1004,)"
    R"("server":0,"engine":1,"responsive":2,"frames":0,"sync":2,"clock":2,"resources":0,)"
    R"("outputRules":[{"mainId":"o\"1","backupId":"p1","mode":2},)"
    R"({"mainId":"o2","backupId":"","mode":0}],)"
    R"("actions":[{"name":"A\\B","event":"main","host":"h\n","port":7,"transport":"UDP",)"
    R"("payload":"\\x41","delayMs":8,"timeoutMs":900,"retries":3,"enabled":true},)"
    R"({"name":"","event":"backup","host":"","port":0,"transport":"TCP","payload":"",)"
    R"("delayMs":0,"timeoutMs":1000,"retries":0,"enabled":false}]})";

} // namespace

TEST(parse_policy, takes_the_default_of_whatever_is_missing_or_unreadable) {
    for (const char* text :
         {"", "{}", "not json", R"({"armed":"yes","lossMs":"x","server":null,"outputRules":{}})"}) {
        SCOPED_TRACE(text);
        const protection_policy policy = parse_policy(text);
        expect_defaults(policy);
        EXPECT_EQ(error_of(policy), accepted);
    }
}

TEST(parse_policy, gives_an_empty_element_the_defaults_of_its_kind) {
    const protection_policy policy = parse_policy(R"({"outputRules":[{}],"actions":[{}]})");
    ASSERT_EQ(policy.outputRules.size(), 1U);
    EXPECT_EQ(policy.outputRules[0].mainId, "");
    EXPECT_EQ(policy.outputRules[0].backupId, "");
    EXPECT_EQ(policy.outputRules[0].mode, mode_alert);
    ASSERT_EQ(policy.actions.size(), 1U);
    const outbound_action& action = policy.actions[0];
    EXPECT_EQ(action.name, "");
    EXPECT_EQ(action.event, "backup");
    EXPECT_EQ(action.host, "");
    EXPECT_EQ(action.port, 0);
    EXPECT_EQ(action.transport, transport::tcp);
    EXPECT_EQ(action.payload, "");
    EXPECT_EQ(action.delayMs, 0U);
    EXPECT_EQ(action.timeoutMs, 1000U);
    EXPECT_EQ(action.retries, 0U);
    EXPECT_FALSE(action.enabled);
}

TEST(parse_policy, takes_udp_only_for_the_exact_word) {
    const std::vector<std::pair<std::string, transport>> cases{{"UDP", transport::udp},
                                                               {"udp", transport::tcp},
                                                               {"TCP", transport::tcp},
                                                               {"UDP ", transport::tcp},
                                                               {"", transport::tcp}};
    for (const auto& [word, kind] : cases) {
        SCOPED_TRACE(word);
        const protection_policy policy =
            parse_policy(R"({"actions":[{"transport":")" + word + R"("}]})");
        ASSERT_EQ(policy.actions.size(), 1U);
        EXPECT_EQ(policy.actions[0].transport, kind);
    }
}

TEST(parse_policy, reads_each_element_from_its_own_text_and_skips_keys_it_does_not_know) {
    const protection_policy policy =
        parse_policy(R"({"extra":[1,{"mode":2}],"outputRules":[{"mainId":"a"},)"
                     R"({"mainId":"b","mode":2,"more":true}],"heldOnBackup":true})");
    ASSERT_EQ(policy.outputRules.size(), 2U);
    EXPECT_EQ(policy.outputRules[0].mainId, "a");
    EXPECT_EQ(policy.outputRules[0].mode, mode_alert);
    EXPECT_EQ(policy.outputRules[1].mainId, "b");
    EXPECT_EQ(policy.outputRules[1].mode, mode_failover);
}

TEST(write_policy, writes_all_keys_in_their_fixed_order_without_white_space) {
    EXPECT_EQ(write_policy(protection_policy{}),
              R"({"armed":true,"audible":false,"lossMs":1000,"stallMs":1500,"outputMs":1000,)"
              R"("startupMs":5000,"server":2,"engine":2,"responsive":2,"frames":2,"sync":1,)"
              R"("clock":1,"resources":1,"outputRules":[],"actions":[]})");
    EXPECT_EQ(write_policy(parse_policy(full_policy)), full_policy);
}

TEST(write_policy, escapes_every_text_but_the_event) {
    protection_policy policy;
    policy.actions.emplace_back().event = "a\"b";
    EXPECT_NE(write_policy(policy).find(R"("event":"a"b")"), std::string::npos);
}

TEST(parse_policy, reads_every_field_of_a_full_policy) {
    const protection_policy policy = parse_policy(full_policy);
    EXPECT_FALSE(policy.armed);
    EXPECT_TRUE(policy.audible);
    EXPECT_EQ(policy.startupMs, 1004U);
    EXPECT_EQ(policy.outputRules.at(0).mainId, "o\"1");
    const outbound_action& action = policy.actions.at(0);
    EXPECT_EQ(action.name, "A\\B");
    EXPECT_EQ(action.event, "main");
    EXPECT_EQ(action.host, "h\n");
    EXPECT_EQ(action.port, 7);
    EXPECT_EQ(action.transport, transport::udp);
    EXPECT_EQ(action.payload, "\\x41");
    EXPECT_EQ(action.delayMs, 8U);
    EXPECT_EQ(action.timeoutMs, 900U);
    EXPECT_EQ(action.retries, 3U);
    EXPECT_TRUE(action.enabled);
    EXPECT_FALSE(policy.actions.at(1).enabled);
}

TEST(validate_policy, holds_every_delay_to_its_range) {
    struct range {
        const char* name;
        std::uint32_t protection_policy::*field;
        std::uint32_t lowest;
        std::uint32_t highest;
    };
    for (const range& each : {range{"lossMs", &protection_policy::lossMs, 500, 30000},
                              range{"stallMs", &protection_policy::stallMs, 500, 30000},
                              range{"outputMs", &protection_policy::outputMs, 500, 30000},
                              range{"startupMs", &protection_policy::startupMs, 1000, 60000}}) {
        SCOPED_TRACE(each.name);
        const auto with = [&](std::uint32_t value) {
            protection_policy policy;
            policy.*each.field = value;
            return error_of(policy);
        };
        EXPECT_EQ(with(each.lowest - 1), delays_rule);
        EXPECT_EQ(with(each.lowest), accepted);
        EXPECT_EQ(with(each.highest), accepted);
        EXPECT_EQ(with(each.highest + 1), delays_rule);
        EXPECT_EQ(error_of(parse_policy("{\"" + std::string(each.name) + "\":-1}")), delays_rule);
    }
}

TEST(validate_policy, knows_three_modes_and_two_for_resources) {
    struct mode_field {
        const char* name;
        fault_mode protection_policy::*field;
    };
    for (const mode_field& each : {mode_field{"server", &protection_policy::server},
                                   mode_field{"engine", &protection_policy::engine},
                                   mode_field{"responsive", &protection_policy::responsive},
                                   mode_field{"frames", &protection_policy::frames},
                                   mode_field{"sync", &protection_policy::sync},
                                   mode_field{"clock", &protection_policy::clock}}) {
        SCOPED_TRACE(each.name);
        const auto with = [&](fault_mode value) {
            protection_policy policy;
            policy.*each.field = value;
            return error_of(policy);
        };
        EXPECT_EQ(with(mode_ignore), accepted);
        EXPECT_EQ(with(mode_failover), accepted);
        EXPECT_EQ(with(3), modes_rule);
        EXPECT_EQ(error_of(parse_policy("{\"" + std::string(each.name) + "\":-1}")), modes_rule);
    }
    expect_judged({
        {"resources 0", [](auto& policy) { policy.resources = mode_ignore; }, accepted},
        {"resources 1", [](auto& policy) { policy.resources = mode_alert; }, accepted},
        {"resources 2", [](auto& policy) { policy.resources = mode_failover; }, resources_rule},
    });
    EXPECT_EQ(error_of(parse_policy(R"({"resources":-1})")), resources_rule);
}

TEST(validate_policy, bounds_the_number_of_rules_and_of_actions_enabled_or_not) {
    const auto with_rules = [](std::size_t count) {
        return [count](protection_policy& policy) {
            for (std::size_t each = 0; each < count; ++each)
                policy.outputRules.push_back(rule("out" + std::to_string(each), "", mode_alert));
        };
    };
    const auto with_actions = [](std::size_t count) {
        return [count](protection_policy& policy) { policy.actions.resize(count); };
    };
    expect_judged({{"128 rules", with_rules(128), accepted},
                   {"129 rules", with_rules(129), counts_rule},
                   {"32 disabled actions", with_actions(32), accepted},
                   {"33 disabled actions", with_actions(33), counts_rule}});
}

TEST(validate_policy, refuses_a_list_of_a_million_elements_of_which_few_were_kept) {
    struct long_list {
        std::string key;
        std::size_t kept;
    };
    for (const long_list& each : {long_list{"outputRules", 129}, long_list{"actions", 33}}) {
        SCOPED_TRACE(each.key);
        std::string text = "{\"" + each.key + "\":[{}";
        for (int element = 1; element < 1'000'000; ++element)
            text += ",{}";
        const protection_policy policy = parse_policy(text + "]}");
        EXPECT_EQ(policy.outputRules.size() + policy.actions.size(), each.kept);
        std::string error;
        EXPECT_FALSE(validate_policy(policy, error));
        EXPECT_EQ(error, counts_rule);
    }
}

TEST(validate_policy, wants_a_unique_main_output_and_for_failover_a_backup_output) {
    const auto with = [](const std::vector<output_rule>& rules) {
        return [rules](protection_policy& policy) { policy.outputRules = rules; };
    };
    expect_judged({
        {"no main output", with({rule("", "b", mode_alert)}), outputs_rule},
        {"ignored, no main output", with({rule("", "b", mode_ignore)}), outputs_rule},
        {"mode 3", with({rule("a", "b", 3)}), outputs_rule},
        {"same main output",
         with({rule("a", "b", mode_alert), rule("c", "d", mode_alert), rule("a", "e", mode_alert)}),
         outputs_rule},
        {"same backup output", with({rule("a", "b", mode_failover), rule("c", "b", mode_failover)}),
         accepted},
        {"failover without a backup output", with({rule("a", "", mode_failover)}), outputs_rule},
        {"alert without a backup output", with({rule("a", "", mode_alert)}), accepted},
        {"ignored without a backup output", with({rule("a", "", mode_ignore)}), accepted},
    });
}

TEST(validate_policy, holds_an_enabled_action_to_its_bounds) {
    const auto host_of = [](std::size_t length) {
        return action_with([length](auto& action) { action.host.assign(length, 'h'); });
    };
    const auto port = [](std::int32_t value) {
        return action_with([value](auto& action) { action.port = value; });
    };
    const auto delay = [](std::uint32_t value) {
        return action_with([value](auto& action) { action.delayMs = value; });
    };
    const auto timeout = [](std::uint32_t value) {
        return action_with([value](auto& action) { action.timeoutMs = value; });
    };
    const auto retries = [](std::uint32_t value) {
        return action_with([value](auto& action) { action.retries = value; });
    };
    const auto event = [](const std::string& value) {
        return action_with([value](auto& action) { action.event = value; });
    };
    expect_judged({
        {"host empty", host_of(0), actions_rule},
        {"host of 1", host_of(1), accepted},
        {"host of 255", host_of(255), accepted},
        {"host of 256", host_of(256), actions_rule},
        {"port -1", port(-1), actions_rule},
        {"port 0", port(0), actions_rule},
        {"port 1", port(1), accepted},
        {"port 65535", port(65535), accepted},
        {"port 65536", port(65536), actions_rule},
        {"timeout 99", timeout(99), actions_rule},
        {"timeout 100", timeout(100), accepted},
        {"timeout 3000", timeout(3000), accepted},
        {"timeout 3001", timeout(3001), actions_rule},
        {"delay 10000", delay(10000), accepted},
        {"delay 10001", delay(10001), actions_rule},
        {"delay below zero", delay(static_cast<std::uint32_t>(-1)), actions_rule},
        {"retries 3", retries(3), accepted},
        {"retries 4", retries(4), actions_rule},
        {"event main", event("main"), accepted},
        {"event backup", event("backup"), accepted},
        {"event of another case", event("Main"), actions_rule},
        {"event empty", event(""), actions_rule},
    });
}

TEST(validate_policy, takes_no_negative_number_of_a_rule_or_an_action) {
    EXPECT_EQ(
        error_of(parse_policy(R"({"outputRules":[{"mainId":"a","backupId":"b","mode":-1}]})")),
        outputs_rule);
    const auto action_text = [](const std::string& more) {
        return R"({"actions":[{"enabled":true,"host":"h","port":9,"payload":"GO")" + more + "}]}";
    };
    EXPECT_EQ(error_of(parse_policy(action_text(""))), accepted);
    for (const std::string name : {"delayMs", "timeoutMs", "retries"})
        EXPECT_EQ(error_of(parse_policy(action_text(",\"" + name + "\":-1"))), actions_rule)
            << name;
}

TEST(validate_policy, refuses_an_enabled_action_whose_command_can_not_be_decoded) {
    const auto payload = [](const std::string& value) {
        return action_with([value](auto& action) { action.payload = value; });
    };
    expect_judged({
        {"empty", payload(""), "Command must contain 1-16384 bytes."},
        {"longest", payload(std::string(16384, 'x')), accepted},
        {"too long", payload(std::string(16385, 'x')), "Command must contain 1-16384 bytes."},
        {"unknown escape", payload("\\q"), R"(Supported escapes: \r, \n, \t, \\, \xHH.)"},
        {"hexadecimal", payload("\\x4"), R"(Use two hexadecimal digits after \x.)"},
        {"trailing", payload("GO\\"), "Trailing backslash in command."},
    });
}

TEST(validate_policy, never_checks_a_disabled_action) {
    expect_judged({{"nothing right but disabled", action_with([](auto& action) {
                        action.host.clear();
                        action.port = 0;
                        action.payload = "\\q";
                        action.event = "never";
                        action.timeoutMs = 0;
                        action.retries = 99;
                        action.enabled = false;
                    }),
                    accepted}});
}

TEST(validate_policy, names_the_first_rule_broken) {
    protection_policy policy;
    policy.lossMs = 499;
    policy.resources = mode_failover;
    policy.server = 3;
    policy.actions.resize(33);
    policy.outputRules.push_back(rule("", "", mode_alert));
    policy.actions[0].enabled = true;
    EXPECT_EQ(error_of(policy), delays_rule);
    policy.lossMs = 500;
    EXPECT_EQ(error_of(policy), resources_rule);
    policy.resources = mode_alert;
    EXPECT_EQ(error_of(policy), modes_rule);
    policy.server = mode_failover;
    EXPECT_EQ(error_of(policy), counts_rule);
    policy.actions.resize(32);
    EXPECT_EQ(error_of(policy), outputs_rule);
    policy.outputRules.clear();
    EXPECT_EQ(error_of(policy), actions_rule);
    policy.actions[0] = enabled_action();
    EXPECT_EQ(error_of(policy), accepted);
}
