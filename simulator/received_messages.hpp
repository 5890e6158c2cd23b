// What has reached the outside device, and how it treats its senders.
//
// Threads: any.
// Limits: the first 10,000 messages, and of each the first mebibyte.
#pragma once

#include "received_bytes.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace elvantris::simulator {

enum class transport { tcp, udp };

class received_messages {
public:
    using message_number = std::int64_t;

    // A datagram, or a connection with what it has brought so far.
    message_number add(transport kind, received_message message);
    void append(message_number number, const std::string& bytes);
    void mark_ended(message_number number);
    void clear();

    // A list in the order of arrival.
    nlohmann::ordered_json report() const;

private:
    struct entry {
        transport kind = transport::tcp;
        received_message message;
        bool ended = false;
    };

    mutable std::mutex mutex_; // guards everything below
    message_number last_number_ = 0;
    std::map<message_number, entry> entries_;
};

} // namespace elvantris::simulator
