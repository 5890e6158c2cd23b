#include "app/status_lines.hpp"
#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <sstream>

using namespace elvantris::operator_control;

namespace {

// Holds what is written to standard output, for as long as it lives.
class captured_output {
public:
    captured_output() : previous_(std::cout.rdbuf(text_.rdbuf())) {}
    ~captured_output() { std::cout.rdbuf(previous_); }
    captured_output(const captured_output&) = delete;
    captured_output& operator=(const captured_output&) = delete;
    captured_output(captured_output&&) = delete;
    captured_output& operator=(captured_output&&) = delete;

    std::string take() {
        std::string text = text_.str();
        text_.str("");
        return text;
    }

private:
    std::ostringstream text_;
    std::streambuf* previous_;
};

status_view pair_view() {
    status_view view{.enabled = true, .active_role = "main", .systems = {}};
    system_record& main = view.systems.emplace_back();
    main.serial = std::string("M");
    main.role = system_role::main;
    main.online = true;
    main.uiReady = true;
    main.address = "10.0.0.1";
    main.webPort = 5000;
    system_record& backup = view.systems.emplace_back();
    backup.serial = std::string("B");
    backup.role = system_role::backup;
    backup.online = true;
    backup.address = "10.0.0.2";
    backup.webPort = 5001;
    backup.backupForSerial = std::string("M");
    return view;
}

} // namespace

TEST(status_signature, joins_what_counts_as_a_change) {
    EXPECT_EQ(status_signature({.enabled = false, .active_role = "none", .systems = {}}),
              "0|none|");
    EXPECT_EQ(status_signature(pair_view()),
              "1|main|M|Main|1|1|10.0.0.1|5000|;B|Backup|1|0|10.0.0.2|5001|M;");
}

TEST(status_signature, changes_with_every_field_that_is_shown_and_with_no_other) {
    using change = std::function<void(status_view&)>;
    struct {
        const char* what;
        bool differs;
        change apply;
    } const cases[] = {
        {"enabled", true, [](auto& v) { v.enabled = false; }},
        {"active role", true, [](auto& v) { v.active_role = "backup"; }},
        {"serial", true, [](auto& v) { v.systems[0].serial += 'x'; }},
        {"role", true, [](auto& v) { v.systems[0].role = system_role::independent; }},
        {"online", true, [](auto& v) { v.systems[0].online = false; }},
        {"ready", true, [](auto& v) { v.systems[0].uiReady = false; }},
        {"address", true, [](auto& v) { v.systems[0].address = "10.0.0.9"; }},
        {"web port", true, [](auto& v) { v.systems[0].webPort = 80; }},
        {"main of a backup", true, [](auto& v) { v.systems[1].backupForSerial += 'x'; }},
        {"new system", true, [](auto& v) { v.systems.emplace_back(); }},
        {"workstation", false, [](auto& v) { v.systems[0].workstation += 'x'; }},
        {"last seen", false, [](auto& v) { v.systems[0].lastSeen = first_round; }},
        {"revision", false, [](auto& v) { v.systems[0].replicationRevision = 9; }},
        {"applied revision", false, [](auto& v) { v.systems[0].replicationAppliedRevision = 9; }},
        {"pending media", false, [](auto& v) { v.systems[0].replicationPendingMedia = 9; }},
        {"replication role", false, [](auto& v) { v.systems[0].replicationRole = "Main"; }},
    };
    for (const auto& [what, differs, apply] : cases) {
        status_view view = pair_view();
        apply(view);
        EXPECT_EQ(status_signature(view) != status_signature(pair_view()), differs) << what;
    }
}

TEST(status_lines, show_the_pair_and_each_system) {
    EXPECT_EQ(status_lines({.enabled = false, .active_role = "none", .systems = {}}),
              (std::vector<std::string>{"[status] enabled=false active=none"}));
    EXPECT_EQ(status_lines(pair_view()),
              (std::vector<std::string>{
                  "[status] enabled=true active=main",
                  "[status] M role=Main online=true uiReady=true address=10.0.0.1 web=5000 "
                  "control=1256",
                  "[status] B role=Backup online=true uiReady=false address=10.0.0.2 web=5001 "
                  "control=1256 backupFor=M"}));
}

TEST(write_status, writes_all_lines_when_something_has_changed_and_none_otherwise) {
    const auto registry = paired_registry();
    captured_output output;
    std::string last_signature;
    write_status(*registry, last_signature);
    EXPECT_EQ(output.take(),
              "[status] enabled=true active=none\n"
              "[status] I role=Independent online=true uiReady=false address=10.0.0.3 web=5000 "
              "control=1256\n"
              "[status] M role=Main online=true uiReady=false address=10.0.0.1 web=5000 "
              "control=1256\n"
              "[status] B role=Backup online=true uiReady=false address=10.0.0.2 web=5000 "
              "control=1256 backupFor=M\n");
    write_status(*registry, last_signature);
    EXPECT_EQ(output.take(), "");

    registry->set_replication("M", replication_at(7));
    write_status(*registry, last_signature);
    EXPECT_EQ(output.take(), "");

    registry->set_online("M", false, first_round);
    write_status(*registry, last_signature);
    const std::string changed = output.take();
    EXPECT_EQ(changed.find("[status] enabled="), 0U);
    EXPECT_NE(changed.find("[status] M role=Main online=false uiReady=false"), std::string::npos);
    EXPECT_NE(changed.find("[status] I role=Independent online=true"), std::string::npos);
    EXPECT_NE(changed.find("[status] B role=Backup online=true"), std::string::npos);
}
