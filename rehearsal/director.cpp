#include "rehearsal/director.hpp"

#include <httplib.h>

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;

constexpr milliseconds pause_between_looks{100};
constexpr std::uint16_t program_port = 5251;
constexpr std::chrono::seconds longest_answer{2};

// Absent if it is busy: while it saves the pair it may not answer for up to 30 s.
std::optional<program_view> ask_program() {
    httplib::Client client("127.0.0.1", program_port);
    client.set_connection_timeout(std::chrono::seconds(1));
    client.set_read_timeout(longest_answer);
    const auto reply = client.Get("/api/status");
    if (reply.error() == httplib::Error::Read) return std::nullopt;
    return reply ? read_status(reply->body) : program_view();
}

} // namespace

director::director(stage& where, simulator::stop_signal& stop)
    : stage_(where), stop_(stop), thread_([this] { run(); }) {}

director::~director() {
    stop_.raise();
    thread_.join();
}

std::string director::begin(std::size_t scenario) {
    const std::lock_guard lock(mutex_);
    if (scenario >= all_scenarios().size()) return "There is no such scenario.";
    std::string reason = why_not_yet(all_scenarios()[scenario], view_);
    if (!reason.empty()) return reason;
    if (run_ && !run_->is_over()) stage_.heal_all();
    const double chance = std::uniform_real_distribution<>(0, 1)(chance_);
    run_.emplace(scenario, chance, std::chrono::steady_clock::now());
    return reason;
}

void director::end() {
    const std::lock_guard lock(mutex_);
    run_.reset();
    stage_.heal_all();
}

program_view director::view() const {
    const std::lock_guard lock(mutex_);
    return view_;
}

ordered_json director::report_run() const {
    const std::lock_guard lock(mutex_);
    if (!run_) return nullptr;
    ordered_json took = ordered_json::array();
    for (const milliseconds each : run_->took())
        took.push_back(each.count());
    return {{"scenario", run_->number()},
            {"tookMs", std::move(took)},
            {"over", run_->is_over()},
            {"reactionMs", run_->reaction().count()}};
}

void director::run() {
    do
        look(ask_program());
    while (simulator::pause_for(pause_between_looks, stop_));
}

void director::look(std::optional<program_view> view) {
    const std::lock_guard lock(mutex_);
    if (view) view_ = *std::move(view);
    if (!run_) return;
    const std::optional<deed> due = run_->advance(view_, std::chrono::steady_clock::now());
    const seen_server* server = due ? view_.in_role(due->role) : nullptr;
    if (server != nullptr) stage_.change(server->serial, due->trouble, due->on);
}

} // namespace elvantris::rehearsal
