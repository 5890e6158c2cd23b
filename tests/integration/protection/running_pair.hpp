// Main M1 and Backup B1 as scripted peers, and a protection with its real threads over them, in a
// fresh folder.
#pragma once

#include "integration/support/eventually.hpp"
#include "integration/support/scripted_peer.hpp"
#include "integration/support/temporary_folder.hpp"
#include "json/field_scanner.hpp"
#include "os/clock.hpp"
#include "os/files.hpp"
#include "protection/protection_service.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace elvantris::operator_control {

inline bool comes_true(const std::function<bool()>& condition) {
    return eventually(condition);
}

inline std::string healthy_body(const std::string& serial, int frame_age_ms = 0) {
    return R"({"serial":")" + serial +
           R"(","version":1,"engineRunning":true,"engineResponsive":true,)"
           R"("telemetryAvailable":true,"channels":[{"ageMs":)" +
           std::to_string(frame_age_ms) + "}]}";
}

inline std::string healthy_reply(const std::string& serial) {
    return http_reply_text(200, healthy_body(serial));
}

class running_pair : public testing::Test {
protected:
    running_pair()
        : main_server(answer_while(main_answers, "M1")),
          backup_server(answer_while(backup_answers, "B1")),
          registry(folder.file("operator-control.json")) {
        know({{"127.0.0.1", main_server.port(), "Stage left", "M1"},
              {"127.0.0.1", backup_server.port(), "Stage right", "B1"}});
        registry.configure(true, "M1", "B1");
        service.emplace(registry);
    }

    void know(const std::vector<discovered_server>& servers) {
        registry.merge_discovered(servers, steady_now());
    }
    void use_actions(const std::vector<outbound_action>& actions) {
        protection_policy policy;
        policy.startupMs = 60000;
        policy.actions = actions;
        ASSERT_TRUE(service->replace_policy(write_policy(policy), error)) << error;
    }
    // Returns when a cycle has evaluated what both have said: the pair is adopted by then.
    void start_and_hear_both() {
        service->start();
        ASSERT_TRUE(comes_true([&] {
            return age_of("M1") >= 0 && age_of("B1") >= 0 && registry.active_role() == "main";
        }));
    }

    protection_snapshot shown() const { return service->snapshot(); }
    bool busy() const { return shown().actions_busy; }
    std::string last_action() const { return shown().last_action; }
    std::size_t alert_count() const { return shown().alerts.size(); }
    // What is shown of a polled server; absent if it has no entry.
    std::optional<shown_server> system_of(const std::string& serial) const {
        for (const shown_server& server : shown().servers)
            if (server.serial == serial) return server;
        return std::nullopt;
    }
    // -1 before the first good poll, -2 without an entry.
    std::int64_t age_of(const std::string& serial) const {
        const auto server = system_of(serial);
        return server ? server->age_ms : -2;
    }
    std::string log() const {
        return read_whole_file(registry.configuration_path() + ".protection.json.alerts.jsonl",
                               1 << 20)
            .value_or("");
    }

    static peer_script answer_while(const std::atomic<bool>& answering, const std::string& serial) {
        return [&answering, serial](peer_connection& connection) {
            connection.read_request();
            if (answering) connection.send(healthy_reply(serial));
        };
    }

    std::atomic<bool> main_answers{true};
    std::atomic<bool> backup_answers{true};
    temporary_folder folder;
    scripted_peer main_server;
    scripted_peer backup_server;
    controller_registry registry;
    std::optional<protection_service> service;
    std::string error;
};

} // namespace elvantris::operator_control
