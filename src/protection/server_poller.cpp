#include "protection/server_poller.hpp"

#include <algorithm>
#include <exception>
#include <utility>

namespace elvantris::operator_control {
namespace {

// Room for both requests of one poll, each with its own time-out.
constexpr milliseconds longest_poll{750};

finished_order carry_out(poll_order& order) noexcept {
    finished_order finished{.serial = {}, .answer = {.outcome = poll_outcome::no_resources}};
    try {
        finished.answer = ask_health(order.system, order.stall_ms, longest_poll);
    } catch (const std::exception&) {
        finished.answer = {.outcome = poll_outcome::no_resources};
    }
    finished.serial = std::move(order.system.serial);
    return finished;
}

} // namespace

server_poller::~server_poller() {
    stop();
}

void server_poller::start() {
    {
        const held_lock lock(lock_);
        stopping_ = false;
        for (desk& each : desks_) {
            each.order.reset();
            each.finished.reset();
        }
    }
    try {
        threads_[0] = std::thread([this] { run(pair_side::main); });
        threads_[1] = std::thread([this] { run(pair_side::backup); });
    } catch (...) {
        stop();
        throw;
    }
}

void server_poller::stop() {
    {
        const held_lock lock(lock_);
        stopping_ = true;
        for (desk& each : desks_)
            each.ordered.notify_one();
    }
    for (std::thread& thread : threads_)
        if (thread.joinable()) thread.join();
}

void server_poller::ask(pair_side side, poll_order order) {
    const held_lock lock(lock_);
    at(side).order = std::move(order);
    at(side).ordered.notify_one();
}

void server_poller::wait_until(steady_time time) {
    held_lock lock(lock_);
    while (!desks_[0].finished && !desks_[1].finished)
        if (!lock.wait_until(finished_, time)) return;
}

std::optional<finished_order> server_poller::take(pair_side side) {
    const held_lock lock(lock_);
    return std::exchange(at(side).finished, std::nullopt);
}

void server_poller::run(pair_side side) {
    held_lock lock(lock_);
    while (true) {
        while (!stopping_ && !at(side).order)
            lock.wait(at(side).ordered);
        if (stopping_) return;
        poll_order order = std::move(*at(side).order);
        at(side).order.reset();
        lock.unlock();
        finished_order finished = carry_out(order);
        lock.lock();
        at(side).finished = std::move(finished);
        finished_.notify_one();
    }
}

} // namespace elvantris::operator_control
