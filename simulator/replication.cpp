#include "replication.hpp"

#include "http_api.hpp"

namespace elvantris::simulator {

namespace {

constexpr std::chrono::milliseconds period{500};
constexpr std::chrono::milliseconds time_out{300};

} // namespace

replication::replication(server_state& state) : state_(state), thread_([this] { run(); }) {}

replication::~replication() {
    running_ = false;
    state_.end_replication();
    thread_.join();
}

void replication::run() {
    while (running_) {
        const replication_work work = state_.replication_to_do();
        for (const std::string& address : work.addresses)
            send_to(address, work.content);
        state_.wait_for_replication(period);
    }
}

void replication::send_to(const std::string& address, const replica& content) {
    httplib::Client client(address, state_.options().peer_http_port);
    client.set_connection_timeout(time_out);
    client.set_read_timeout(time_out);
    client.set_write_timeout(time_out);
    client.set_tcp_nodelay(true);
    const nlohmann::ordered_json body{{"revision", content.revision},
                                      {"writtenAt", content.written_at},
                                      {"eventModel", content.event_model}};
    const auto result = client.Post(replicate_path, json_text(body), "application/json");
    if (result && result->status == 200) state_.released(address, content);
}

} // namespace elvantris::simulator
