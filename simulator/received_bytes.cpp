#include "received_bytes.hpp"

#include <nlohmann/json.hpp>

#include <chrono>

namespace elvantris::simulator {

std::int64_t wall_clock_microseconds() {
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(since_epoch).count();
}

std::string base64(std::string_view bytes) {
    static constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::string_view group = bytes.substr(start, 3);
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 3; ++i)
            value = value << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? alphabet[value >> (18 - 6 * i) & 63U] : '=';
    }
    return text;
}

nlohmann::ordered_json message_json(const received_message& message) {
    return {{"from", message.from},
            {"timeMs", message.time_microseconds / 1000},
            {"timeUs", message.time_microseconds},
            {"size", message.bytes.size()},
            {"text", message.bytes},
            {"bytesBase64", base64(message.bytes)}};
}

std::string json_text(const nlohmann::ordered_json& value) {
    return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace elvantris::simulator
