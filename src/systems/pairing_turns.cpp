#include "systems/pairing_turns.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {

pairing_turns::turn::turn(turn&& other) noexcept : turns_(std::exchange(other.turns_, nullptr)) {}

pairing_turns::turn::~turn() {
    if (turns_ == nullptr) return;
    {
        const std::lock_guard lock(turns_->lock_);
        turns_->taken_ = false;
    }
    turns_->freed_.notify_all();
}

std::optional<pairing_turns::turn> pairing_turns::take_if_free() {
    const std::lock_guard lock(lock_);
    if (taken_ || save_waits()) return std::nullopt;
    taken_ = true;
    return turn(*this);
}

std::optional<pairing_turns::turn> pairing_turns::wait_for(const call_limits& limits) {
    ++waiting_saves_;
    std::unique_lock lock(lock_);
    while (taken_) {
        lock.unlock();
        const bool over = limits.over();
        lock.lock();
        if (over && taken_) break;
        freed_.wait_until(lock, std::min(limits.deadline, steady_now() + longest_unasked_wait),
                          [this] { return !taken_; });
    }
    --waiting_saves_;
    if (taken_) return std::nullopt;
    taken_ = true;
    return turn(*this);
}

} // namespace elvantris::operator_control
