#include "systems/pairing_sync.hpp"

#include "systems/form_encoding.hpp"

#include "integration/support/eventually.hpp"
#include "integration/support/scripted_peer.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;

const std::string synchronized = "Main event pairing is synchronized.";
const std::string no_model = "Main is online but its current event could not be read.";
const std::string no_place = "Main event configuration could not be prepared.";
const std::string rejected = "Main rejected the Redundancy Control pairing update.";
const std::string not_yet = "Main accepted the update but has not exposed the new pairing yet.";

const std::string ask_config = "GET /Home/GetOperatorControlConfiguration";
const std::string ask_model = "GET /Home/GetEventModel";
const std::string update = "POST /Home/UpdateEventModel";

operator_control_config desired_pairing() {
    return {.enabled = true,
            .systems = {{.serial = "A",
                         .workstation_name = "Desk \"1\"",
                         .address = "10.0.0.5",
                         .role = system_role::main,
                         .backup_for_serial = ""},
                        {.serial = "B",
                         .workstation_name = "Desk 2",
                         .address = "10.0.0.6",
                         .role = system_role::backup,
                         .backup_for_serial = "A"}},
            .shared_function_ids = {4, 2},
            .replication_revision = 0};
}

// The desired pairing as a server shows it, other name and order and a revision of its own.
const std::string config_as_desired = http_reply_text(
    200, R"({"Enabled":true,"Systems":[{"Serial":"B","Role":"Backup","BackupForSerial":"A"},)"
         R"({"Serial":"A","WorkstationName":"other","Role":"Main"}],)"
         R"("SharedFunctionIds":[2,4],"ReplicationRevision":41})");
const std::string config_differs =
    http_reply_text(200, R"({"Enabled":false,"Systems":[],"ReplicationRevision":41})");
const std::string config_missing = http_reply_text(404, "");
const std::string model = http_reply_text(200, R"({"Title":"A + B"})");
const std::string accepted = http_reply_text(200, "OK");

std::string object_with_revision(const std::string& revision) {
    return R"({"Enabled":true,"Systems":[)"
           R"({"Serial":"A","WorkstationName":"Desk \"1\"","Address":"10.0.0.5","Role":"Main",)"
           R"("BackupForSerial":""},)"
           R"({"Serial":"B","WorkstationName":"Desk 2","Address":"10.0.0.6","Role":"Backup",)"
           R"("BackupForSerial":"A"}],"SharedFunctionIds":[2,4],"ReplicationRevision":)" +
           revision + "}";
}

struct run {
    bool done = false;
    std::string message;
    std::vector<std::string> requests;

    std::vector<std::string> targets() const {
        std::vector<std::string> all;
        for (const std::string& request : requests)
            all.push_back(request_target(request));
        return all;
    }
    // The event model that was posted, as it stands encoded in the body.
    std::string posted() const { return request_body(requests.at(2)); }
};

run run_against(const std::vector<std::string>& answers_in_turn, milliseconds timeout = ample) {
    scripted_peer peer(replies_in_turn(answers_in_turn));
    run result;
    result.message = "left from before";
    result.done =
        sync_main_pairing("127.0.0.1", peer.port(), desired_pairing(), result.message, timeout);
    result.requests = peer.received();
    return result;
}

std::string encoded_update(const std::string& spliced) {
    return "room=prime&data=" + url_encode_form(spliced);
}

} // namespace

TEST(sync_main_pairing, sends_nothing_where_main_shows_the_pairing_already) {
    const run result = run_against({config_as_desired});
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.message, synchronized);
    EXPECT_EQ(result.targets(), std::vector<std::string>{ask_config});
}

TEST(sync_main_pairing, writes_a_differing_pairing_and_reads_it_back) {
    const run result = run_against({config_differs, model, accepted, config_as_desired});
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.message, synchronized);
    EXPECT_EQ(result.targets(),
              (std::vector<std::string>{ask_config, ask_model, update, ask_config}));
    EXPECT_EQ(result.posted(), encoded_update(R"({"Title":"A + B","OperatorControl":)" +
                                              object_with_revision("41") + "}"));
    EXPECT_NE(result.requests[2].find("\r\nContent-Type: application/x-www-form-urlencoded\r\n"),
              std::string::npos);
}

TEST(sync_main_pairing, encodes_the_event_model_as_a_form) {
    const run result = run_against({config_differs, model, accepted, config_as_desired});
    EXPECT_TRUE(result.posted().starts_with(
        "room=prime&data=%7B%22Title%22%3A%22A+%2B+B%22%2C%22OperatorControl%22%3A%7B%22"));
}

TEST(sync_main_pairing, replaces_the_object_that_stands_in_the_event_model) {
    const std::string old_model =
        http_reply_text(200, R"({"a":1, "OperatorControl" : {"Enabled":false,"x":"}"} ,"b":2})");
    const run result = run_against({config_differs, old_model, accepted, config_as_desired});
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.posted(), encoded_update(R"({"a":1, "OperatorControl" : )" +
                                              object_with_revision("41") + R"( ,"b":2})"));
}

TEST(sync_main_pairing,
     takes_the_revision_from_the_event_model_where_the_configuration_is_not_told) {
    struct revision_case {
        std::string model;
        std::string revision;
    };
    for (const revision_case& each :
         {revision_case{R"({"ReplicationRevision":77})", "77"},
          revision_case{R"({"replicationRevision":77})", "0"}, revision_case{R"({"a":1})", "0"},
          revision_case{R"({"ReplicationRevision":9007199254740993})", "9007199254740993"}}) {
        const run result = run_against(
            {config_missing, http_reply_text(200, each.model), accepted, config_missing});
        EXPECT_FALSE(result.done) << each.model;
        EXPECT_EQ(result.message, not_yet) << each.model;
        EXPECT_NE(result.posted().find(url_encode_form(object_with_revision(each.revision))),
                  std::string::npos)
            << each.model;
    }
}

TEST(sync_main_pairing, prefers_the_configurations_revision_even_if_it_is_0) {
    const run result = run_against({http_reply_text(200, "{}"),
                                    http_reply_text(200, R"({"ReplicationRevision":77})"), accepted,
                                    config_as_desired});
    EXPECT_NE(result.posted().find(url_encode_form(object_with_revision("0"))), std::string::npos);
}

TEST(sync_main_pairing, stops_at_an_event_model_that_it_cannot_use) {
    for (const std::string& answer :
         {http_reply_text(200, "ERROR"), http_reply_text(200, "ERROR: {}"),
          http_reply_text(200, ""), http_reply_text(404, "{}"), http_reply_text(500, "{}"),
          std::string()}) {
        const run result = run_against({config_differs, answer});
        EXPECT_FALSE(result.done) << answer;
        EXPECT_EQ(result.message, no_model) << answer;
        EXPECT_EQ(result.targets(), (std::vector<std::string>{ask_config, ask_model})) << answer;
    }
}

TEST(sync_main_pairing, stops_at_an_event_model_without_a_place_for_the_object) {
    for (const std::string body : {"ERRO", "[]", "text", " "}) {
        const run result = run_against({config_differs, http_reply_text(200, body)});
        EXPECT_FALSE(result.done) << body;
        EXPECT_EQ(result.message, no_place) << body;
        EXPECT_EQ(result.requests.size(), 2U) << body;
    }
}

TEST(sync_main_pairing, never_sends_back_a_show_whose_end_did_not_arrive) {
    const std::string show = R"({"Title":"A","Cues":[{"Id":1},{"Id":2}],"Media":{}})";
    const std::string headers = "HTTP/1.1 200 OK\r\n\r\n";
    const std::string torn = headers + show.substr(0, show.find("{\"Id\":2}") + 9);
    const std::string too_large =
        headers + R"({"a":{},"b":")" + std::string(33'554'432 + 65'536, 'x') + "\"}";
    struct torn_case {
        const char* what;
        std::string bytes;
        bool stalls;
    };
    for (const torn_case& each : {torn_case{"stalls", torn, true}, torn_case{"closes", torn, false},
                                  torn_case{"is larger than what is read", too_large, false}}) {
        scripted_peer main([&](peer_connection& connection) {
            connection.read_request();
            connection.send(connection.index() == 0 ? config_differs : each.bytes);
            if (connection.index() != 0 && each.stalls) connection.hang();
        });
        std::string message;
        EXPECT_FALSE(sync_main_pairing("127.0.0.1", main.port(), desired_pairing(), message,
                                       each.stalls ? 300ms : ample))
            << each.what;
        EXPECT_EQ(message, no_place) << each.what;
        EXPECT_EQ(main.connections(), 2U) << each.what;
    }
}

TEST(sync_main_pairing, takes_four_letters_of_the_error_word_for_an_event_model) {
    const run result =
        run_against({config_differs, http_reply_text(200, "ERRO{}"), accepted, config_as_desired});
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.posted(),
              encoded_update(R"(ERRO{"OperatorControl":)" + object_with_revision("41") + "}"));
}

TEST(sync_main_pairing, counts_the_update_as_accepted_where_a_200_holds_the_word_ok) {
    struct answer_case {
        int status;
        std::string body;
        bool accepted;
    };
    for (const answer_case& each : {answer_case{200, "OK", true}, answer_case{200, "NOT OK", true},
                                    answer_case{200, R"({"result":"OK"})", true},
                                    answer_case{200, "ok", false}, answer_case{200, "O K", false},
                                    answer_case{200, "", false}, answer_case{201, "OK", false},
                                    answer_case{400, "OK", false}, answer_case{500, "OK", false}}) {
        const run result = run_against(
            {config_differs, model, http_reply_text(each.status, each.body), config_as_desired});
        EXPECT_EQ(result.done, each.accepted) << each.status << each.body;
        EXPECT_EQ(result.message, each.accepted ? synchronized : rejected)
            << each.status << each.body;
        EXPECT_EQ(result.requests.size(), each.accepted ? 4U : 3U) << each.status << each.body;
    }
}

TEST(sync_main_pairing, believes_in_the_new_pairing_only_when_main_shows_it) {
    for (const std::string& shown : {config_differs, config_missing, std::string()}) {
        const run result = run_against({config_differs, model, accepted, shown});
        EXPECT_FALSE(result.done) << shown;
        EXPECT_EQ(result.message, not_yet) << shown;
        EXPECT_EQ(result.requests.size(), 4U) << shown;
    }
}

TEST(sync_main_pairing, reports_an_unreachable_main_as_an_event_that_could_not_be_read) {
    std::string message;
    EXPECT_FALSE(sync_main_pairing("127.0.0.1", closed_port(), desired_pairing(), message, ample));
    EXPECT_EQ(message, no_model);
}

TEST(sync_main_pairing, gives_the_update_at_least_three_seconds) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        // Longer than the caller's time-out and far below the update's own.
        if (connection.index() == 2) std::this_thread::sleep_for(2s);
        const std::vector<std::string> turns{config_differs, model, accepted, config_as_desired};
        connection.send(turns.at(connection.index()));
    });
    std::string message;
    EXPECT_TRUE(sync_main_pairing("127.0.0.1", peer.port(), desired_pairing(), message, 1500ms));
    EXPECT_EQ(message, synchronized);
}

TEST(sync_configured_pairing, sends_the_registrys_pairing_to_main_and_records_the_outcome) {
    const std::string shown = http_reply_text(
        200, R"({"Enabled":true,"Systems":[{"Serial":"A","Role":"Main"},)"
             R"({"Serial":"B","Role":"Backup","BackupForSerial":"A"}],"SharedFunctionIds":[7]})");
    scripted_peer main(replies_in_turn(
        {config_differs, http_reply_text(500, ""), config_differs, model, accepted, shown}));
    controller_registry registry("unused.json");
    registry.merge_discovered(
        {{.address = "127.0.0.1", .webPort = 9, .workstation = "Spare", .serial = "C"},
         {.address = "127.0.0.1", .webPort = main.port(), .workstation = "Desk 1", .serial = "A"},
         {.address = "127.0.0.1", .webPort = 9, .workstation = "Desk 2", .serial = "B"}},
        steady_time{1h});
    registry.configure(true, "A", "B");
    registry.set_shared_function_ids({7});

    std::string message;
    EXPECT_FALSE(sync_configured_pairing(registry, message));
    EXPECT_EQ(message, no_model);
    EXPECT_FALSE(registry.policy_synchronized());

    EXPECT_TRUE(sync_configured_pairing(registry, message));
    EXPECT_EQ(message, synchronized);
    EXPECT_TRUE(registry.policy_synchronized());
    EXPECT_EQ(request_body(main.received().at(4)),
              encoded_update(
                  R"({"Title":"A + B","OperatorControl":{"Enabled":true,"Systems":[)"
                  R"({"Serial":"A","WorkstationName":"Desk 1","Address":"127.0.0.1","Role":"Main",)"
                  R"("BackupForSerial":""},{"Serial":"B","WorkstationName":"Desk 2",)"
                  R"("Address":"127.0.0.1","Role":"Backup","BackupForSerial":"A"}],)"
                  R"("SharedFunctionIds":[7],"ReplicationRevision":41}})"));
}

namespace {

// A registry with the pair A and B, whose Main answers on this port.
void pair_with_main_at(controller_registry& registry, std::uint16_t port) {
    registry.merge_discovered(
        {{.address = "127.0.0.1", .webPort = port, .workstation = "Desk 1", .serial = "A"},
         {.address = "127.0.0.1", .webPort = 9, .workstation = "Desk 2", .serial = "B"}},
        steady_time{1h});
    registry.configure(true, "A", "B");
    registry.set_shared_function_ids({7});
}

bool posts_function(const std::string& request, int function) {
    return request_body(request).find(url_encode_form(
               R"("SharedFunctionIds":[)" + std::to_string(function) + "]")) != std::string::npos;
}

// A Main that shows the pairing that was posted last, and can be held at the update of a show.
class slow_main {
public:
    slow_main() : peer([this](peer_connection& connection) { serve(connection); }) {}

    std::atomic<bool> hold_model = false;
    std::atomic<bool> hold_update = false;
    std::atomic<int> models = 0;
    std::atomic<int> updates = 0;
    std::atomic<int> running = 0;
    std::atomic<int> most_running = 0;
    std::atomic<int> shown_function = 0;
    scripted_peer peer; // last: its threads use all of the above

private:
    void serve(peer_connection& connection) {
        most_running = std::max<int>(most_running, ++running);
        const std::string request = connection.read_request();
        if (request_target(request) == ask_model) {
            ++models;
            // White space before the show, so that no single step ever takes too long.
            connection.send("HTTP/1.1 200 OK\r\n\r\n");
            while (hold_model && connection.wanted() && connection.send(" "))
                std::this_thread::sleep_for(20ms);
            connection.send(request_body(model));
        } else if (request_target(request) == update) {
            ++updates;
            while (hold_update && connection.wanted())
                std::this_thread::sleep_for(1ms);
            shown_function = posts_function(request, 8) ? 8 : 7;
            connection.send(accepted);
        } else {
            connection.send(
                http_reply_text(200, R"({"Enabled":true,"Systems":[{"Serial":"A","Role":"Main"},)"
                                     R"({"Serial":"B","Role":"Backup","BackupForSerial":"A"}],)"
                                     R"("SharedFunctionIds":[)" +
                                         std::to_string(shown_function) + "]}"));
        }
        --running;
    }
};

std::thread start_pass_and_hold_its_update(controller_registry& registry, slow_main& main) {
    main.hold_update = true;
    pair_with_main_at(registry, main.peer.port());
    std::thread pass([&] {
        std::string message;
        sync_configured_pairing(registry, message, {}, sync_caller::pass);
    });
    EXPECT_TRUE(eventually([&] { return main.updates == 1; }));
    return pass;
}

} // namespace

TEST(sync_configured_pairing, lets_a_save_wait_for_the_update_of_a_pass_and_win) {
    slow_main main;
    controller_registry registry("unused.json");
    std::thread pass = start_pass_and_hold_its_update(registry, main);

    registry.set_shared_function_ids({8});
    std::thread save([&] {
        std::string message;
        EXPECT_TRUE(sync_configured_pairing(registry, message));
        EXPECT_EQ(message, synchronized);
    });
    EXPECT_TRUE(eventually([&] { return registry.turns().save_waits(); }));
    std::string message;
    EXPECT_FALSE(sync_configured_pairing(registry, message, {}, sync_caller::pass));
    EXPECT_EQ(message, "Waiting to synchronize pairing with Main.");
    main.hold_update = false;
    pass.join();
    save.join();
    EXPECT_EQ(main.shown_function, 8);
    EXPECT_EQ(main.most_running, 1);
    EXPECT_TRUE(registry.policy_synchronized());
}

TEST(sync_configured_pairing, gives_the_run_of_a_pass_up_for_a_save_before_its_update) {
    slow_main main;
    main.hold_model = true;
    controller_registry registry("unused.json");
    pair_with_main_at(registry, main.peer.port());
    registry.set_policy_sync(false, "as before");
    std::thread pass([&] {
        std::string message;
        EXPECT_FALSE(sync_configured_pairing(registry, message, call_limits{}.within(30s),
                                             sync_caller::pass));
    });
    EXPECT_TRUE(eventually([&] { return main.models == 1; }));
    const steady_time begun = steady_now();
    registry.set_shared_function_ids({8});
    std::thread save([&] {
        std::string message;
        EXPECT_TRUE(sync_configured_pairing(registry, message));
    });
    // The pass has gone though Main still holds its answer back.
    pass.join();
    EXPECT_LT(steady_now() - begun, 10s);
    EXPECT_EQ(main.updates, 0);
    main.hold_model = false;
    save.join();
    EXPECT_EQ(main.updates, 1);
    EXPECT_EQ(main.shown_function, 8);
}

TEST(sync_configured_pairing, keeps_a_save_waiting_no_longer_than_its_limits) {
    slow_main main;
    controller_registry registry("unused.json");
    std::thread pass = start_pass_and_hold_its_update(registry, main);
    std::string message;
    registry.set_policy_sync(false, "as before");
    EXPECT_FALSE(sync_configured_pairing(registry, message, call_limits{}.within(100ms)));
    EXPECT_EQ(message, "Waiting to synchronize pairing with Main.");
    EXPECT_NE(registry.to_json().find(R"("policySyncMessage":"as before")"), std::string::npos);
    EXPECT_FALSE(registry.turns().save_waits());
    main.hold_update = false;
    pass.join();
}

TEST(sync_configured_pairing, ends_when_the_program_does_and_records_nothing) {
    slow_main main;
    main.hold_model = true;
    main.hold_update = true;
    for (const sync_caller caller : {sync_caller::save, sync_caller::pass}) {
        controller_registry registry("unused.json");
        pair_with_main_at(registry, main.peer.port());
        std::atomic<bool> stopped = false;
        const int begun = main.models;
        std::thread run([&] {
            std::string message;
            EXPECT_FALSE(sync_configured_pairing(
                registry, message, {.given_up = [&] { return stopped.load(); }}, caller));
        });
        EXPECT_TRUE(eventually([&] { return main.models > begun; }));
        const steady_time asked = steady_now();
        stopped = true;
        run.join();
        EXPECT_LT(steady_now() - asked, 10s);
        EXPECT_NE(registry.to_json().find("Waiting to synchronize"), std::string::npos);
    }
}
