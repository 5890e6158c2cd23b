#include "systems/pairing_turns.hpp"

#include "os/wait_under_lock.hpp"

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
    const bool free = wait_under_lock(lock, freed_, limits, [this] { return !taken_; });
    --waiting_saves_;
    if (!free) return std::nullopt;
    taken_ = true;
    return turn(*this);
}

} // namespace elvantris::operator_control
