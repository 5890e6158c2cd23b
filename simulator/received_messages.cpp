#include "received_messages.hpp"

#include <nlohmann/json.hpp>

#include <utility>

namespace elvantris::simulator {

namespace {

constexpr std::size_t most_messages = 10'000;
constexpr std::size_t largest_message = 1'048'576;

} // namespace

received_messages::message_number received_messages::add(transport kind, received_message message) {
    const std::lock_guard lock(mutex_);
    ++last_number_;
    if (entries_.size() < most_messages)
        entries_[last_number_] = {
            .kind = kind, .message = std::move(message), .ended = kind == transport::udp};
    return last_number_;
}

void received_messages::append(message_number number, const std::string& bytes) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(number);
    if (found == entries_.end()) return;
    std::string& kept = found->second.message.bytes;
    kept.append(bytes, 0, largest_message - std::min(largest_message, kept.size()));
}

void received_messages::mark_ended(message_number number) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(number);
    if (found != entries_.end()) found->second.ended = true;
}

void received_messages::clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
}

nlohmann::ordered_json received_messages::report() const {
    const std::lock_guard lock(mutex_);
    nlohmann::ordered_json result = nlohmann::ordered_json::array();
    for (const auto& [number, each] : entries_) {
        nlohmann::ordered_json message{{"transport", each.kind == transport::tcp ? "tcp" : "udp"},
                                       {"ended", each.ended}};
        message.update(message_json(each.message));
        result.push_back(std::move(message));
    }
    return result;
}

} // namespace elvantris::simulator
