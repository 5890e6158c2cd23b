#include "local/api_server.hpp"

#include "integration/support/captured_output.hpp"
#include "integration/support/loopback_client.hpp"
#include "integration/support/recording_decks.hpp"
#include "integration/support/scripted_peer.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t longest_request = 4'194'304;
const steady_time seen{1h};

const std::string ok = R"({"ok":true})";
const std::string done = R"({"ok":true,"error":""})";

struct api_answer {
    int status = 0;
    std::string content_type;
    std::string body;

    bool operator==(const api_answer&) const = default;
};

void PrintTo(const api_answer& answer, std::ostream* out) {
    *out << answer.status << ' ' << answer.content_type << ' ' << answer.body;
}

api_answer json(int status, const std::string& body) {
    return {.status = status, .content_type = "application/json", .body = body};
}

api_answer refusal(const std::string& error) {
    return json(400, R"({"ok":false,"error":")" + error + "\"}");
}

const api_answer not_found{
    .status = 404, .content_type = "text/plain; charset=utf-8", .body = "not found"};

// The API on a port of the system's choice over a registry with the servers A, B and C.
class running_api {
public:
    running_api() {
        registry.merge_discovered(
            {{.address = "127.0.0.2", .webPort = 5000, .workstation = "Desk 1", .serial = "A"},
             {.address = "127.0.0.3", .webPort = 5000, .workstation = "Desk 2", .serial = "B"},
             {.address = "127.0.0.4", .webPort = 5000, .workstation = "Desk 3", .serial = "C"}},
            seen);
        EXPECT_TRUE(server.start(0));
    }

    std::optional<std::string> send(const std::string& request) const {
        return ask_loopback(server.port(), request);
    }
    api_answer ask(const std::string& method, const std::string& path,
                   const std::string& body = {}) const {
        const std::string reply =
            send(method + ' ' + path +
                 " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: text/plain\r\nContent-Length: " +
                 std::to_string(body.size()) + "\r\n\r\n" + body)
                .value_or("");
        api_answer answer;
        answer.status = std::atoi(reply.substr(0, reply.find("\r\n")).substr(9).c_str());
        const std::string type_name = "\r\nContent-Type: ";
        const std::size_t type = reply.find(type_name) + type_name.size();
        answer.content_type = reply.substr(type, reply.find("\r\n", type) - type);
        answer.body = reply.substr(reply.find("\r\n\r\n") + 4);
        return answer;
    }
    api_answer get(const std::string& path) const { return ask("GET", path); }
    api_answer post(const std::string& path, const std::string& body) const {
        return ask("POST", path, body);
    }
    void take_offline() { registry.merge_discovered({}, seen + 100s); }
    std::optional<std::string> saved() const {
        return read_whole_file(registry.configuration_path(), longest_request);
    }

    temporary_folder folder;
    controller_registry registry{folder.file("operator-control.json")};
    command_router router{registry};
    protection_service protection{registry};
    recording_decks decks;
    api_server server{registry, router, decks, protection};
};

bool contains(const std::string& text, const std::string& piece) {
    return text.find(piece) != std::string::npos;
}

} // namespace

TEST(api_server, writes_the_headers_of_every_reply_in_their_order) {
    const running_api api;
    EXPECT_EQ(api.send("GET /nowhere HTTP/1.1\r\n\r\n"),
              "HTTP/1.1 404 Not Found\r\nServer: Elvantris Redundancy Control\r\n"
              "Content-Type: text/plain; charset=utf-8\r\nContent-Length: 9\r\n"
              "Connection: close\r\nCache-Control: no-store\r\n"
              "Access-Control-Allow-Origin: *\r\n\r\nnot found");
}

TEST(api_server, answers_only_exact_methods_and_paths) {
    const running_api api;
    const std::vector<std::pair<std::string, std::string>> requests = {
        {"GET", "/api/protection"},
        {"GET", "/api/protection/operate"},
        {"GET", "/api/protection/test"},
        {"GET", "/api/discover"},
        {"GET", "/api/configure"},
        {"GET", "/api/role"},
        {"GET", "/api/shared"},
        {"GET", "/api/route"},
        {"POST", "/"},
        {"POST", "/api/status"},
        {"HEAD", "/api/status"},
        {"OPTIONS", "/api/status"},
        {"get", "/api/status"},
        {"PUT", "/api/configure"},
        {"GET", "/api/status/"},
        {"GET", "/api/status?x=1"},
        {"GET", "/API/status"},
        {"GET", "//api/status"},
        {"GET", "/?x=1"},
        {"POST", "/api/role/"},
        {"GET", "x"},
    };
    for (const auto& [method, path] : requests)
        EXPECT_EQ(api.ask(method, path), not_found) << method << ' ' << path;
}

TEST(api_server, reads_a_body_that_arrives_in_pieces) {
    const running_api api;
    loopback_client client(api.server.port());
    EXPECT_TRUE(client.send("POST /api/shared HTTP/1.1\r\nContent-Length: 13\r\n\r"));
    EXPECT_TRUE(client.silent_for(50ms));
    EXPECT_TRUE(client.send("\n{\"ids\""));
    EXPECT_TRUE(client.silent_for(50ms));
    EXPECT_TRUE(client.send(":[7,8]}"));
    EXPECT_TRUE(contains(client.read_to_end().value_or(""), ok));
    EXPECT_EQ(api.registry.shared_function_ids(), (std::set<std::int32_t>{7, 8}));
}

TEST(api_server, gives_no_reply_to_a_request_that_cannot_be_read) {
    const running_api api;
    for (const std::string request : {"GET\r\n\r\n", "\r\n\r\n", "  \r\n\r\n"})
        EXPECT_EQ(api.send(request), "") << request;
}

TEST(api_server, does_nothing_for_a_client_that_leaves_before_its_request_is_complete) {
    const running_api api;
    const std::set<std::int32_t> before = api.registry.shared_function_ids();
    for (const std::string request :
         {"POST /api/shared HTTP/1.1\r\nContent-Length: 5\r\n\r\nab",
          "POST /api/shared HTTP/1.1\r\nContent-Length: 0\r\n", "POST /api/shared", ""}) {
        loopback_client client(api.server.port());
        EXPECT_TRUE(client.send(request));
    }
    // Requests are served one after the other, so these four are over when this one is.
    EXPECT_EQ(api.get("/nowhere"), not_found);
    EXPECT_EQ(api.registry.shared_function_ids(), before);
}

TEST(api_server, serves_a_client_that_never_ends_its_headers_after_four_mebibytes) {
    const running_api api;
    loopback_client client(api.server.port());
    const std::string line = "GET /api/status HTTP/1.1\r\n";
    EXPECT_TRUE(client.send(line + std::string(longest_request - line.size() - 1, 'x')));
    EXPECT_TRUE(client.silent_for(50ms));
    EXPECT_TRUE(client.send("x"));
    EXPECT_TRUE(client.read_to_end().value_or("").starts_with("HTTP/1.1 200 OK\r\n"));
}

TEST(api_server, handles_a_request_beyond_four_mebibytes_with_what_has_arrived) {
    const running_api api;
    loopback_client client(api.server.port());
    const std::string head = "POST /api/shared HTTP/1.1\r\nContent-Length: 9000000\r\n\r\n"
                             "{\"ids\":[5],\"more\":\"";
    EXPECT_TRUE(client.send(head + std::string(longest_request - head.size(), 'x')));
    EXPECT_TRUE(contains(client.read_to_end().value_or(""), ok));
    EXPECT_EQ(api.registry.shared_function_ids(), (std::set<std::int32_t>{5}));
}

TEST(api_server, serves_its_clients_one_after_the_other) {
    const running_api api;
    loopback_client first(api.server.port());
    EXPECT_TRUE(first.send("GET /nowhere HTTP/1.1\r\n"));
    loopback_client second(api.server.port());
    EXPECT_TRUE(second.send("GET /nowhere HTTP/1.1\r\n\r\n"));
    EXPECT_TRUE(second.silent_for(100ms));
    EXPECT_TRUE(first.send("\r\n"));
    EXPECT_TRUE(contains(first.read_to_end().value_or(""), "not found"));
    EXPECT_TRUE(contains(second.read_to_end().value_or(""), "not found"));
}

TEST(api_server, stops_while_a_client_holds_it_that_has_begun_to_speak) {
    running_api api;
    loopback_client half_spoken(api.server.port());
    EXPECT_TRUE(half_spoken.send("GET /nowhere HTTP/1.1\r\n"));
    loopback_client waiting(api.server.port());
    EXPECT_TRUE(waiting.send("GET /nowhere HTTP/1.1\r\n\r\n"));
    api.server.stop();
    EXPECT_EQ(waiting.read_to_end(), "");
}

TEST(api_server, releases_its_port_at_once_and_can_start_again) {
    running_api api;
    const std::uint16_t port = api.server.port();
    EXPECT_EQ(api.get("/nowhere"), not_found);
    EXPECT_TRUE(api.server.start(0)) << "already running";
    EXPECT_EQ(api.server.port(), port);
    for (int i = 0; i < 3; ++i) {
        api.server.stop();
        api.server.stop();
        EXPECT_FALSE(loopback_client(port).connected());
        ASSERT_TRUE(api.server.start(port));
        EXPECT_EQ(api.get("/nowhere"), not_found);
    }
}

TEST(api_server, does_not_start_on_a_taken_port) {
    const running_api first;
    running_api second;
    second.server.stop();
    EXPECT_FALSE(second.server.start(first.server.port()));
    EXPECT_TRUE(second.server.start(0));
    EXPECT_EQ(first.get("/nowhere"), not_found);
}

TEST(diagnostics_page, links_to_the_configured_ui_port_and_shows_the_status) {
    running_api api;
    api.registry.set_ui_port(5333);
    EXPECT_EQ(
        api.get("/"),
        (api_answer{
            .status = 200,
            .content_type = "text/html; charset=utf-8",
            .body = "<!doctype html><title>Elvantris Redundancy Control diagnostics</title>"
                    "<body style='font-family:Arial;background:#20252b;color:#eee;padding:24px'>"
                    "<h3>Elvantris Redundancy Control Diagnostics</h3><p>The operating shell is "
                    "<a style='color:#9cc8ff' href='http://127.0.0.1:5333/'>"
                    "http://127.0.0.1:5333/</a>.</p><pre id=s>Loading...</pre><script>"
                    "setInterval(async()=>{try{s.textContent=JSON.stringify(await (await "
                    "fetch('/api/status')).json(),null,2)}catch(e){}},1000)</script></body>"}));
}

TEST(status_route, begins_with_the_registry_and_ends_with_the_path) {
    running_api api;
    const api_answer answer = api.get("/api/status");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.content_type, "application/json");
    std::string registry_text = api.registry.to_json();
    registry_text.pop_back();
    EXPECT_TRUE(answer.body.starts_with(registry_text +
                                        R"(,"active":"none","activeSerial":"","streamDeckCount":)"))
        << answer.body;
    EXPECT_TRUE(answer.body.ends_with(R"("})"));
    const std::vector<std::string> keys = {"enabled",
                                           "controllerConfigured",
                                           "uiPort",
                                           "runtimeUiPort",
                                           "openBrowserOnStart",
                                           "systems",
                                           "sharedFunctionIds",
                                           "policySynchronized",
                                           "policySyncMessage",
                                           "active",
                                           "activeSerial",
                                           "streamDeckCount",
                                           "streamDecks",
                                           "protection",
                                           "configPath"};
    std::size_t at = 0;
    for (const std::string& key : keys) {
        const std::size_t found = answer.body.find('"' + key + "\":", at);
        ASSERT_NE(found, std::string::npos) << key;
        at = found;
    }
    EXPECT_TRUE(contains(answer.body, R"("protection":)" + api.protection.protection_status_json() +
                                          R"(,"configPath":")"));
}

TEST(status_route, writes_each_system_with_its_keys_in_order) {
    running_api api;
    api.registry.set_role("B", system_role::backup, "A");
    replication_status replication;
    replication.enabled = true;
    replication.role = "Backup";
    replication.revision = 7;
    replication.applied_revision = 6;
    replication.pending_media = 2;
    replication.event_title = "The \"Gala\"";
    replication.last_error = "slow";
    api.registry.set_replication("B", replication);
    EXPECT_TRUE(contains(
        api.get("/api/status").body,
        R"({"serial":"B","workstation":"Desk 2","address":"127.0.0.3","webPort":5000,)"
        R"("controlPort":1256,"role":"Backup","backupForSerial":"A","online":true,)"
        R"("uiReady":false,"replicationEnabled":true,"replicationRole":"Backup",)"
        R"("replicationRevision":7,"replicationAppliedRevision":6,"replicationPendingMedia":2,)"
        R"("replicationEventTitle":"The \"Gala\"","replicationLastError":"slow"})"));
}

TEST(status_route, names_the_active_server) {
    running_api api;
    api.registry.configure(true, "A", "B");
    api.registry.set_online("A", true, seen);
    EXPECT_TRUE(contains(api.get("/api/status").body, R"("active":"main","activeSerial":"A",)"));
    api.registry.set_online("A", false, seen);
    api.registry.set_online("B", true, seen);
    EXPECT_TRUE(contains(api.get("/api/status").body, R"("active":"backup","activeSerial":"B",)"));
    api.registry.set_online("B", false, seen);
    EXPECT_TRUE(contains(api.get("/api/status").body, R"("active":"none","activeSerial":"",)"));
}

TEST(status_route, lists_the_attached_decks_by_serial) {
    running_api api;
    EXPECT_TRUE(contains(api.get("/api/status").body,
                         R"(,"streamDeckCount":0,"streamDecks":[],"protection":)"));
    deck_info deck;
    deck.serial = "path:\\\\?\\hid#1";
    deck.pid = "99";
    deck.device_name = "The \"left\" Mini";
    deck.key_count = 6;
    api.decks.attach(deck);
    deck.serial = "CL12";
    deck.pid = "108";
    deck.device_name = "Stream Deck XL";
    deck.key_count = 32;
    api.decks.attach(deck);
    EXPECT_TRUE(
        contains(api.get("/api/status").body,
                 R"(,"streamDeckCount":2,"streamDecks":[)"
                 R"({"serial":"CL12","name":"Stream Deck XL","productId":"108","keyCount":32},)"
                 R"({"serial":"path:\\\\?\\hid#1","name":"The \"left\" Mini","productId":"99",)"
                 R"("keyCount":6}],"protection":)"));
}

TEST(configure_route, refuses_a_ui_port_outside_its_bounds) {
    const running_api api;
    struct port_case {
        std::string port;
        bool taken;
    };
    for (const port_case& each :
         {port_case{"1023", false}, port_case{"1024", true}, port_case{"65535", true},
          port_case{"65536", false}, port_case{"-1", false}, port_case{"0", false},
          port_case{"99999999999", false}}) {
        const api_answer answer = api.post("/api/configure", "{\"uiPort\":" + each.port + "}");
        if (each.taken)
            EXPECT_EQ(answer,
                      json(200, R"({"ok":true,"serverUpdated":false,"uiPort":)" + each.port +
                                    R"(,"uiPortChanged":true,)"
                                    R"("message":"Application settings saved."})"));
        else
            EXPECT_EQ(answer, refusal("Control UI port must be between 1024 and 65535."))
                << each.port;
    }
}

TEST(configure_route, judges_the_pair_and_names_the_first_fault) {
    const std::string port = "Control UI port must be between 1024 and 65535.";
    const std::string differ = "A different Main and Backup are required.";
    const std::string unknown = "The selected systems are not in the Redundancy Control registry.";
    struct fault_case {
        std::string body;
        std::string error;
    };
    const std::vector<fault_case> cases = {
        {R"({"enabled":true})", differ},
        {R"({"enabled":true,"mainSerial":"A"})", differ},
        {R"({"enabled":true,"backupSerial":"A"})", differ},
        {R"({"mainSerial":"A"})", differ},
        {R"({"backupSerial":"B"})", differ},
        {R"({"enabled":false,"mainSerial":"A","backupSerial":"A"})", differ},
        {R"({"enabled":true,"mainSerial":"X","backupSerial":"X"})", differ},
        {R"({"enabled":true,"mainSerial":"A","backupSerial":"X"})", unknown},
        {R"({"enabled":true,"mainSerial":"X","backupSerial":"B"})", unknown},
        {R"({"enabled":true,"mainSerial":"a","backupSerial":"B"})", unknown},
        {R"({"enabled":true,"uiPort":80,"mainSerial":"A","backupSerial":"A"})", port},
    };
    const running_api api;
    const std::string before = api.registry.to_json();
    for (const fault_case& each : cases)
        EXPECT_EQ(api.post("/api/configure", each.body), refusal(each.error)) << each.body;
    EXPECT_EQ(api.registry.to_json(), before);
    EXPECT_EQ(api.saved(), std::nullopt);
}

TEST(configure_route, takes_an_empty_object_for_no_pair_no_shared_functions_and_the_same_port) {
    running_api api;
    api.registry.set_ui_port(5300);
    api.registry.set_open_browser_on_start(false);
    EXPECT_EQ(api.post("/api/configure", "{}"),
              json(200, R"({"ok":true,"serverUpdated":false,"uiPort":5300,"uiPortChanged":false,)"
                        R"("message":"Application settings saved."})"));
    EXPECT_FALSE(api.registry.controller_configured());
    EXPECT_FALSE(api.registry.has_pair());
    EXPECT_TRUE(api.registry.shared_function_ids().empty());
    EXPECT_FALSE(api.registry.open_browser_on_start());
    EXPECT_EQ(api.saved(), api.registry.to_json());
}

TEST(configure_route, leaves_a_configured_pair_alone_where_none_is_given) {
    running_api api;
    api.registry.configure(true, "A", "B");
    api.take_offline();
    EXPECT_EQ(api.post("/api/configure", R"({"sharedFunctionIds":[3],"openBrowserOnStart":false})"),
              json(200, R"({"ok":true,"serverUpdated":false,"uiPort":5270,"uiPortChanged":false,)"
                        R"("message":"Pairing saved locally. Waiting for Main to come online."})"));
    EXPECT_TRUE(api.registry.enabled());
    EXPECT_EQ(api.registry.find_main()->serial, "A");
    EXPECT_EQ(api.registry.shared_function_ids(), (std::set<std::int32_t>{3}));
    EXPECT_FALSE(api.registry.open_browser_on_start());
}

TEST(configure_route, sets_the_pair_and_reports_an_outcome_that_is_not_yet_good) {
    running_api api;
    api.take_offline();
    EXPECT_EQ(api.post("/api/configure",
                       R"({"enabled":true,"mainSerial":"C","backupSerial":"B","uiPort":5400,)"
                       R"("sharedFunctionIds":[9,8]})"),
              json(200, R"({"ok":true,"serverUpdated":false,"uiPort":5400,"uiPortChanged":true,)"
                        R"("message":"Pairing saved locally. Waiting for Main to come online."})"));
    EXPECT_TRUE(api.registry.enabled());
    EXPECT_EQ(api.registry.find_main()->serial, "C");
    EXPECT_EQ(api.registry.find_backup_for("C")->serial, "B");
    EXPECT_EQ(api.saved(), api.registry.to_json());
    EXPECT_TRUE(contains(api.saved().value_or(""), "Waiting for Main to come online."));
}

TEST(configure_route, can_set_a_pair_that_is_switched_off) {
    running_api api;
    api.take_offline();
    EXPECT_EQ(
        api.post("/api/configure", R"({"enabled":false,"mainSerial":"A","backupSerial":"B"})"),
        json(200, R"({"ok":true,"serverUpdated":false,"uiPort":5270,"uiPortChanged":false,)"
                  R"("message":"Pairing saved locally. Waiting for Main to come online."})"));
    EXPECT_FALSE(api.registry.enabled());
    EXPECT_TRUE(api.registry.controller_configured());
    EXPECT_TRUE(api.registry.has_pair());
}

TEST(configure_route, writes_the_pair_into_main_at_once) {
    running_api api;
    scripted_peer main(replies(http_reply_text(
        200, R"({"Enabled":true,"Systems":[{"Serial":"M","Role":"Main"},)"
             R"({"Serial":"B","Role":"Backup","BackupForSerial":"M"}],"SharedFunctionIds":[3]})")));
    api.registry.merge_discovered(
        {{.address = "127.0.0.1", .webPort = main.port(), .workstation = "Desk", .serial = "M"}},
        seen);
    EXPECT_EQ(api.post("/api/configure", R"({"enabled":true,"mainSerial":"M","backupSerial":"B",)"
                                         R"("sharedFunctionIds":[3]})"),
              json(200, R"({"ok":true,"serverUpdated":true,"uiPort":5270,"uiPortChanged":false,)"
                        R"("message":"Main event pairing is synchronized."})"));
    EXPECT_TRUE(api.registry.policy_synchronized());
    EXPECT_EQ(api.saved(), api.registry.to_json());
}

TEST(configure_route, saves_pair_and_port_before_it_asks_main) {
    running_api api;
    std::string saved_meanwhile;
    {
        scripted_peer main([&](peer_connection& connection) {
            connection.read_request();
            if (connection.index() == 0) saved_meanwhile = api.saved().value_or("");
        });
        api.registry.merge_discovered({{.address = "127.0.0.1",
                                        .webPort = main.port(),
                                        .workstation = "Desk",
                                        .serial = "M"}},
                                      seen);
        EXPECT_EQ(api.post("/api/configure",
                           R"({"enabled":true,"mainSerial":"M","backupSerial":"B","uiPort":5400})")
                      .status,
                  200);
    }
    EXPECT_TRUE(contains(saved_meanwhile, R"("uiPort":5400)")) << saved_meanwhile;
    EXPECT_TRUE(contains(saved_meanwhile, R"("role":"Backup","backupForSerial":"M")"));
}

TEST(role_route, sets_a_role_and_saves) {
    struct role_case {
        std::string body;
        system_role role;
        std::string backup_for;
    };
    for (const role_case& each :
         {role_case{R"({"serial":"A","role":"Main"})", system_role::main, ""},
          role_case{R"({"serial":"A","role":"Main","backupForSerial":"B"})", system_role::main, ""},
          role_case{R"({"serial":"A","role":"Backup","backupForSerial":"B"})", system_role::backup,
                    "B"},
          role_case{R"({"serial":"A","role":"Independent"})", system_role::independent, ""},
          role_case{R"({"serial":"A","role":"main"})", system_role::independent, ""},
          role_case{R"({"serial":"A","role":"anything"})", system_role::independent, ""}}) {
        running_api api;
        api.registry.set_role("A", system_role::backup, "C");
        EXPECT_EQ(api.post("/api/role", each.body), json(200, ok)) << each.body;
        EXPECT_EQ(api.registry.find_system("A")->role, each.role) << each.body;
        EXPECT_EQ(api.registry.find_system("A")->backupForSerial, each.backup_for) << each.body;
        EXPECT_EQ(api.saved(), api.registry.to_json()) << each.body;
    }
}

TEST(role_route, refuses_an_empty_serial_or_role) {
    const running_api api;
    for (const std::string body :
         {"", "{}", R"({"serial":"A"})", R"({"role":"Main"})", R"({"serial":"","role":"Main"})",
          R"({"serial":"A","role":""})", R"({"serial":5,"role":"Main"})"})
        EXPECT_EQ(api.post("/api/role", body), json(400, R"({"ok":false})")) << body;
    EXPECT_EQ(api.saved(), std::nullopt);
}

TEST(role_route, changes_nothing_for_an_unknown_serial_and_says_ok) {
    const running_api api;
    const std::string before = api.registry.to_json();
    EXPECT_EQ(api.post("/api/role", R"({"serial":"X","role":"Main"})"), json(200, ok));
    EXPECT_EQ(api.registry.to_json(), before);
}

TEST(shared_route, replaces_the_set_and_empties_it_without_the_key) {
    const running_api api;
    EXPECT_EQ(api.post("/api/shared", R"({"ids":[5,-1,"7"]})"), json(200, ok));
    EXPECT_EQ(api.registry.shared_function_ids(), (std::set<std::int32_t>{-1, 5, 7}));
    EXPECT_EQ(api.saved(), api.registry.to_json());
    EXPECT_EQ(api.post("/api/shared", "garbage"), json(200, ok));
    EXPECT_TRUE(api.registry.shared_function_ids().empty());
}

TEST(route_route, tells_what_became_of_the_command) {
    running_api api;
    api.registry.configure(true, "A", "B");
    api.registry.set_shared_function_ids({3});
    const auto reply = [](const std::string& flags, int sequence, const std::string& deliveries) {
        return json(200, "{\"ok\":true," + flags + ",\"sequence\":" + std::to_string(sequence) +
                             ",\"deliveries\":[" + deliveries + "]}");
    };
    const std::string to_main = R"({"role":"Main","attempted":true,"sent":true,"error":""})";
    const std::string to_backup = R"({"role":"Backup","attempted":true,"sent":true,"error":""})";
    EXPECT_EQ(api.post("/api/route", R"({"functionId":3,"payload":"x"})"),
              reply(R"("routed":true,"targetFound":true,"mainOnline":true,"shared":true,)"
                    R"("backupOnline":true)",
                    1, to_main + "," + to_backup));
    EXPECT_EQ(api.post("/api/route", R"({"functionId":4,"payload":"x"})"),
              reply(R"("routed":true,"targetFound":true,"mainOnline":true,"shared":false,)"
                    R"("backupOnline":false)",
                    2, to_main));
    EXPECT_EQ(api.post("/api/route", R"({"functionId":4,"targetSerial":"C","payload":"x"})"),
              reply(R"("routed":true,"targetFound":true,"mainOnline":true,"shared":false,)"
                    R"("backupOnline":false)",
                    3, R"({"role":"Independent","attempted":true,"sent":true,"error":""})"));
    EXPECT_EQ(api.post("/api/route", R"({"functionId":3,"targetSerial":"X","payload":"x"})"),
              reply(R"("routed":false,"targetFound":false,"mainOnline":false,"shared":true,)"
                    R"("backupOnline":false)",
                    4, ""));
    api.take_offline();
    EXPECT_EQ(api.post("/api/route", R"({"functionId":3,"payload":"x"})"),
              reply(R"("routed":false,"targetFound":true,"mainOnline":false,"shared":true,)"
                    R"("backupOnline":false)",
                    5, ""));
}

TEST(route_route, answers_200_where_nobody_is_there_to_receive) {
    const running_api api;
    EXPECT_EQ(api.post("/api/route", R"({"functionId":3,"payload":"x"})"),
              json(200, R"({"ok":true,"routed":false,"targetFound":false,"mainOnline":false,)"
                        R"("shared":true,"backupOnline":false,"sequence":1,"deliveries":[]})"));
}

TEST(route_route, hands_on_the_error_of_a_delivery) {
    running_api api;
    api.registry.merge_discovered(
        {{.address = "a \"host\"", .webPort = 5000, .workstation = "", .serial = "H"}}, seen);
    EXPECT_TRUE(contains(
        api.post("/api/route", R"({"functionId":3,"targetSerial":"H","payload":"x"})").body,
        R"("routed":false,"targetFound":true,"mainOnline":true,"shared":true,)"
        R"("backupOnline":false,"sequence":1,"deliveries":[{"role":"Independent",)"
        R"("attempted":true,"sent":false,"error":"Invalid IPv4 address: a \"host\""}]})"));
}

TEST(route_route, refuses_a_command_without_function_or_payload_and_uses_up_no_number) {
    const running_api api;
    for (const std::string body :
         {"", "{}", R"({"functionId":0,"payload":"x"})", R"({"functionId":-1,"payload":"x"})",
          R"({"functionId":3,"payload":""})", R"({"functionId":3})", R"({"payload":"x"})",
          R"({"functionId":3,"payload":"\q"})"})
        EXPECT_EQ(api.post("/api/route", body), refusal("functionId and payload are required"))
            << body;
    EXPECT_TRUE(contains(api.post("/api/route", R"({"functionId":1,"payload":"x"})").body,
                         "\"sequence\":1,"));
}

TEST(protection_routes, answer_an_operators_act_with_its_outcome) {
    running_api api;
    const std::string action =
        R"({"name":"Lights","event":"backup","host":"127.0.0.1","port":9,"transport":"UDP",)"
        R"("payload":"GO","enabled":ENABLED})";
    const auto policy = [&](const std::string& enabled) {
        std::string text = action;
        return R"({"actions":[)" + text.replace(text.find("ENABLED"), 7, enabled) + "]}";
    };
    EXPECT_EQ(api.post("/api/protection", R"({"lossMs":499})"),
              refusal("Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms."));
    EXPECT_EQ(api.post("/api/protection", R"({"actions":[{"enabled":true,"host":"h","port":9,)"
                                          R"("payload":"\\q"}]})"),
              refusal(R"(Supported escapes: \\r, \\n, \\t, \\\\, \\xHH.)"));
    EXPECT_EQ(api.post("/api/protection", policy("false")), json(200, done));
    EXPECT_EQ(api.post("/api/protection/operate", R"({"operation":"disarm"})"), json(200, done));
    EXPECT_EQ(api.post("/api/protection/operate", R"({"operation":"no such"})").status, 400);

    for (const std::string body : {"", "{}", R"({"index":-1})", R"({"index":1})"})
        EXPECT_EQ(api.post("/api/protection/test", body),
                  refusal("Save the action before testing it."))
            << body;
    EXPECT_EQ(api.post("/api/protection/test", R"({"index":0})"),
              refusal("Enable and save the action before testing it."));
    EXPECT_EQ(api.post("/api/protection", policy("true")), json(200, done));
    EXPECT_EQ(api.post("/api/protection/test", R"({"index":0})"), json(200, done));
    EXPECT_EQ(api.post("/api/protection/test", R"({"index":0})"),
              refusal("An outbound sequence is already running."));
}
