#include "protection/protection_service.hpp"

#include "protection/outbound_sending.hpp"

#include <exception>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds cycle_period{250};

bool same_target(const system_record& one, const system_record& other) {
    return one.serial == other.serial && one.address == other.address &&
           one.webPort == other.webPort;
}

} // namespace

protection_service::protection_service(controller_registry& registry,
                                       const std::function<bool()>& given_up)
    : registry_(registry),
      protection_(registry, files_beside(registry.configuration_path(), given_up)) {}

protection_service::~protection_service() {
    stop();
}

void protection_service::start() {
    {
        const held_lock lock(lock_);
        running_ = true;
        protection_.begin(steady_now());
    }
    try {
        poller_.start();
        worker_ = std::thread([this] { action_worker(); });
        monitor_ = std::thread([this] { monitor_loop(); });
    } catch (...) {
        stop();
        throw;
    }
}

void protection_service::stop() {
    {
        // Under the lock: otherwise a waiter could check `running_`, miss the wake-up, and sleep.
        const held_lock lock(lock_);
        running_ = false;
    }
    wake_up_.notify_all();
    if (monitor_.joinable()) monitor_.join();
    if (worker_.joinable()) worker_.join();
    poller_.stop();
}

bool protection_service::replace_policy(std::string_view body, std::string& error) {
    protection_policy policy = parse_policy(body);
    if (!validate_policy(policy, error)) return false;
    const held_lock lock(lock_);
    return protection_.replace_policy(std::move(policy), error);
}

bool protection_service::operate(std::string_view operation, std::string& error) {
    const held_lock lock(lock_);
    const bool done = protection_.operate(operation, now_on_both_clocks(), error);
    wake_up_.notify_all();
    return done;
}

bool protection_service::test_action(std::int32_t index, std::string& error) {
    const held_lock lock(lock_);
    const bool queued = protection_.test_action(index, error);
    wake_up_.notify_all();
    return queued;
}

protection_snapshot protection_service::snapshot() const {
    const held_lock lock(lock_);
    return protection_.snapshot(steady_now());
}

std::string protection_service::protection_status_json() const {
    return write_status(snapshot());
}

void protection_service::monitor_loop() {
    while (running_) {
        const steady_time cycle_start = steady_now();
        try {
            run_cycle();
        } catch (const std::exception& failure) {
            const held_lock lock(lock_);
            protection_.note_monitor_failure(failure.what(), now_on_both_clocks());
        }
        const steady_time next_cycle = cycle_start + cycle_period;
        round_.rest(next_cycle);
        rest_until(next_cycle);
    }
}

void protection_service::run_cycle() {
    const std::optional<server_pair> pair = registry_.find_pair();
    begin_round(pair ? pair->main : registry_.find_main(),
                pair ? std::optional(pair->backup) : std::nullopt);
    do
        hear_both();
    while (running_ && !judge());
}

void protection_service::begin_round(std::optional<system_record> main,
                                     std::optional<system_record> backup) {
    const auto enter = [](std::optional<system_record>& asked,
                          std::optional<system_record>& found) {
        if (!found || found->address.empty()) {
            asked.reset();
            return poll_round::target::none;
        }
        const bool known = asked && same_target(*asked, *found);
        asked = std::move(found);
        return known ? poll_round::target::known : poll_round::target::changed;
    };
    const auto main_target = enter(targets_[0], main);
    const auto backup_target = enter(targets_[1], backup);
    round_.begin(main_target, backup_target, steady_now());
}

void protection_service::hear_both() {
    while (running_) {
        const steady_time now = steady_now();
        round_.look(now);
        if (round_.may_judge()) return;
        for (const pair_side side : {pair_side::main, pair_side::backup})
            if (round_.wants_poll(side, now)) ask(side, now);
        poller_.wait_until(round_.rest_until());
        for (const pair_side side : {pair_side::main, pair_side::backup})
            if (std::optional<finished_order> finished = poller_.take(side)) {
                round_.ended(side, finished->answer.outcome);
                const held_lock lock(lock_);
                protection_.note_health(finished->serial, std::move(finished->answer.health));
            }
    }
}

void protection_service::ask(pair_side side, steady_time now) {
    const std::optional<system_record>& target = targets_[side == pair_side::main ? 0 : 1];
    const std::uint32_t stall_ms = [this] {
        const held_lock lock(lock_);
        return protection_.stall_ms();
    }();
    poller_.ask(side, {.system = *target, .stall_ms = stall_ms});
    round_.asked(side, now);
}

bool protection_service::judge() {
    const held_lock lock(lock_);
    const moment now = now_on_both_clocks();
    // Waiting for the lock may have taken long.
    round_.look(now.steady);
    if (!round_.may_judge()) return false;
    protection_.evaluate_cycle(now, round_.trouble());
    if (protection_.sequence_waiting()) wake_up_.notify_all();
    round_.judged();
    return true;
}

void protection_service::action_worker() {
    while (const std::optional<outbound_sequence> sequence = next_sequence())
        run_sequence(*sequence);
}

std::optional<outbound_sequence> protection_service::next_sequence() {
    held_lock lock(lock_);
    while (running_ && !protection_.sequence_waiting())
        lock.wait(wake_up_);
    if (!running_) return std::nullopt;
    return protection_.take_sequence();
}

void protection_service::run_sequence(const outbound_sequence& sequence) {
    bool all_sent = true;
    for (const outbound_action& step : sequence.steps) {
        if (!rest_until(steady_now() + milliseconds(step.delayMs))) break;
        std::string failure;
        all_sent = send_step(step, running_, failure);
        const held_lock lock(lock_);
        protection_.record_step(sequence, step, all_sent, failure, now_on_both_clocks());
        if (!all_sent) break;
    }
    const held_lock lock(lock_);
    protection_.finish_sequence(sequence, all_sent && running_);
}

bool protection_service::rest_until(steady_time time) {
    held_lock lock(lock_);
    // A wake-up for another reason doesn't end the wait.
    while (running_ && lock.wait_until(wake_up_, time)) {
    }
    return running_;
}

} // namespace elvantris::operator_control
