#include "protection/protection_service.hpp"

#include "os/sockets.hpp"
#include "protection/command_escapes.hpp"
#include "protection/health_poll.hpp"
#include "protection/outbound_action.hpp"

#include <exception>
#include <future>
#include <optional>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds cycle_period{250};

// Room for both requests of one poll, each with its own time-out.
constexpr milliseconds longest_poll{750};
// A poll may last longer than the shortest loss time. A good answer that is nearly lost again when
// the other server has been waited for is asked for once more, or a trickling Main would make
// Backup look lost. The second poll ends in time to leave the other's answer fresh.
constexpr milliseconds nearly_lost{100};
constexpr milliseconds longest_second_poll{400};

} // namespace

protection_service::protection_service(controller_registry& registry)
    : registry_(registry), protection_(registry) {}

protection_service::~protection_service() {
    stop();
}

void protection_service::start() {
    {
        const std::lock_guard lock(lock_);
        running_ = true;
        protection_.begin(steady_now());
    }
    worker_ = std::thread([this] { action_worker(); });
    try {
        monitor_ = std::thread([this] { monitor_loop(); });
    } catch (...) {
        stop();
        throw;
    }
}

void protection_service::stop() {
    {
        // Under the lock, so that no waiter can look just before and sleep just after.
        const std::lock_guard lock(lock_);
        running_ = false;
    }
    wake_up_.notify_all();
    if (monitor_.joinable()) monitor_.join();
    if (worker_.joinable()) worker_.join();
}

bool protection_service::replace_policy(std::string_view body, std::string& error) {
    protection_policy policy = parse_policy(body);
    if (!validate_policy(policy, error)) return false;
    const std::lock_guard lock(lock_);
    return protection_.replace_policy(std::move(policy), error);
}

bool protection_service::operate(std::string_view operation, std::string& error) {
    const std::lock_guard lock(lock_);
    const bool done = protection_.operate(operation, now_on_both_clocks(), error);
    wake_up_.notify_all();
    return done;
}

bool protection_service::test_action(std::int32_t index, std::string& error) {
    const std::lock_guard lock(lock_);
    const bool queued = protection_.test_action(index, error);
    wake_up_.notify_all();
    return queued;
}

std::string protection_service::protection_status_json() const {
    const std::lock_guard lock(lock_);
    return protection_.status_json(steady_now());
}

void protection_service::monitor_loop() {
    while (running_) {
        const steady_time cycle_start = steady_now();
        try {
            run_cycle();
        } catch (const std::exception& failure) {
            const std::lock_guard lock(lock_);
            protection_.note_monitor_failure(failure.what(), now_on_both_clocks());
        }
        std::unique_lock lock(lock_);
        wake_up_.wait_until(lock, cycle_start + cycle_period, [this] { return !running_; });
    }
}

void protection_service::run_cycle() {
    const std::optional<server_pair> pair = registry_.find_pair();
    const auto main = pair ? pair->main : registry_.find_main();
    const auto backup = pair ? std::optional(pair->backup) : std::nullopt;
    const auto [stall_ms, loss] = [this] {
        const std::lock_guard lock(lock_);
        return std::pair(protection_.stall_ms(), milliseconds(protection_.loss_ms()));
    }();
    struct server_poll {
        system_record system;
        std::future<std::optional<steady_time>> running;
        std::optional<steady_time> answered; // absent without a good answer
    };
    std::vector<server_poll> polls;
    polls.reserve(2);
    for (const std::optional<system_record>& system : {main, backup}) {
        if (!system || system->address.empty()) continue;
        auto poll = [this, copy = *system, stall = stall_ms]() -> std::optional<steady_time> {
            if (!poll_health(copy, stall, longest_poll)) return std::nullopt;
            return steady_now();
        };
        polls.push_back({.system = *system,
                         .running = std::async(std::launch::async, std::move(poll)),
                         .answered = {}});
    }
    for (server_poll& poll : polls)
        poll.answered = poll.running.get();
    for (const server_poll& poll : polls)
        if (running_ && poll.answered && steady_now() - *poll.answered > loss - nearly_lost)
            poll_health(poll.system, stall_ms, longest_second_poll);

    const std::lock_guard lock(lock_);
    protection_.evaluate_cycle(now_on_both_clocks());
    if (protection_.sequence_waiting()) wake_up_.notify_all();
}

bool protection_service::poll_health(const system_record& system, std::uint32_t stall_ms,
                                     milliseconds longest) {
    std::optional<server_health> health = ask_health(system, stall_ms, longest);
    const bool answered = health.has_value();
    const std::lock_guard lock(lock_);
    protection_.note_health(system.serial, std::move(health));
    return answered;
}

void protection_service::action_worker() {
    std::unique_lock lock(lock_);
    while (true) {
        wake_up_.wait(lock, [this] { return !running_ || protection_.sequence_waiting(); });
        if (!running_) return;
        run_sequence(protection_.take_sequence(), lock);
    }
}

void protection_service::run_sequence(const outbound_sequence& sequence,
                                      std::unique_lock<std::mutex>& lock) {
    bool all_sent = true;
    for (const outbound_action& step : sequence.steps) {
        wake_up_.wait_until(lock, steady_now() + milliseconds(step.delayMs),
                            [this] { return !running_; });
        if (!running_) break;
        lock.unlock();
        std::string failure;
        try {
            all_sent = send_step(step, failure);
        } catch (const std::exception& trouble) {
            all_sent = false;
            failure = trouble.what();
        }
        lock.lock();
        protection_.record_step(sequence, step, all_sent, failure, now_on_both_clocks());
        if (!all_sent) break;
    }
    protection_.finish_sequence(sequence, all_sent && running_);
}

bool protection_service::send_step(const outbound_action& step, std::string& failure) const {
    std::string bytes;
    if (!decode_command_escapes(step.payload, bytes, failure)) return false;
    for (std::uint32_t attempt = 0; attempt <= step.retries && running_; ++attempt)
        if (send_action(step.host, static_cast<std::uint16_t>(step.port), step.udp, bytes,
                        milliseconds(step.timeoutMs), failure))
            return true;
    return false;
}

} // namespace elvantris::operator_control
