#include "protection/fault_timers.hpp"

namespace elvantris::operator_control {

bool fault_timers::confirm(const std::string& key, bool condition, std::chrono::milliseconds delay,
                           steady_time now) {
    if (delay == std::chrono::milliseconds::zero()) return condition;
    if (!condition) {
        first_seen_.erase(key);
        return false;
    }
    const auto [entry, fresh] = first_seen_.try_emplace(key, now);
    return !fresh && now - entry->second >= delay;
}

} // namespace elvantris::operator_control
