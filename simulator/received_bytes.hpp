// How received bytes and their times stand in the control call's replies.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace elvantris::simulator {

std::int64_t wall_clock_microseconds();

// RFC 4648, padded.
std::string base64(std::string_view bytes);

struct received_message {
    std::string from; // "10.77.0.10:40312"
    std::int64_t time_microseconds = 0;
    std::string bytes;
};

// {"from","timeMs","timeUs","size","text","bytesBase64"}
nlohmann::ordered_json message_json(const received_message& message);

// Bytes that are not UTF-8 show as U+FFFD.
std::string json_text(const nlohmann::ordered_json& value);

} // namespace elvantris::simulator
