#include "rehearsal/director.hpp"

#include "os/file_paths.hpp"
#include "os/sockets.hpp"
#include "systems/server_http.hpp"
#include "systems/settings_place.hpp"

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;

constexpr milliseconds pause_between_looks{100};
constexpr std::uint16_t program_port = 5251;
constexpr std::uint64_t most_bytes = 67'108'864;
constexpr milliseconds longest_answer{2000};
constexpr milliseconds longest_knock{1000};

// Whether the program was started without --config.
bool is_show_settings(const std::string& path) {
    const std::string of_the_show = operator_control::default_configuration_path();
    return path == of_the_show || operator_control::is_same_file(path, of_the_show);
}

// Absent if it is busy: while it saves the pair it may not answer for up to 30 s.
std::optional<program_view> ask_program() {
    const operator_control::http_call call{.host = "127.0.0.1",
                                           .port = program_port,
                                           .method = "GET",
                                           .path = "/api/status",
                                           .body = {},
                                           .content_type = {},
                                           .timeout = longest_answer};
    const auto reply = operator_control::http_exchange_bounded(call, most_bytes, longest_answer);
    if (reply.status == 0 && operator_control::knock_on_loopback(program_port, longest_knock))
        return std::nullopt;
    program_view view = reply.status == 0 ? program_view() : read_status(reply.body);
    view.uses_show_settings = view.answers && is_show_settings(view.config_path);
    return view;
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
    std::string reason = reason_against(scenario);
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

std::string director::why_not(std::size_t scenario) const {
    const std::lock_guard lock(mutex_);
    return reason_against(scenario);
}

std::string director::reason_against(std::size_t scenario) const {
    const scenario_run* other = run_ && !run_->is_over() ? &*run_ : nullptr;
    if (other != nullptr && other->broken())
        return "Another scenario is running. Press Stop on its card.";
    return why_not_yet(all_scenarios()[scenario], view_, stage_.first_trouble());
}

std::string director::on_air() const {
    const std::lock_guard lock(mutex_);
    return on_air_;
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
            {"whyEnded", run_->why_ended()},
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
    on_air_ = follow_pair(on_air_, view_);
    if (!run_) return;
    const auto due = run_->advance(view_, std::chrono::steady_clock::now());
    if (due) stage_.change(due->serial, due->trouble, due->on);
    const auto& broken = run_->broken();
    if (broken && !stage_.has_trouble(broken->serial, broken->trouble)) run_->note_trouble_gone();
}

} // namespace elvantris::rehearsal
