// Base64 decoded without haste, for comparison.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

inline constexpr std::string_view base64_alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The rules one after another, a byte at a time.
inline std::optional<std::string> slowly_decoded(std::string_view text) {
    std::string left;
    for (const char byte : text) {
        if (byte == ' ' || (byte >= '\t' && byte <= '\r')) continue;
        if (byte != '=' && base64_alphabet.find(byte) == std::string_view::npos)
            return std::nullopt;
        left += byte;
    }
    if (left.size() % 4 != 0) return std::nullopt;
    std::string bytes;
    for (std::size_t at = 0; at < left.size(); at += 4) {
        const bool last = at + 4 == left.size();
        if (left[at] == '=' || left[at + 1] == '=') return std::nullopt;
        if (left[at + 2] == '=' && (!last || left[at + 3] != '=')) return std::nullopt;
        if (left[at + 3] == '=' && !last) return std::nullopt;
        std::size_t bits = 0;
        for (std::size_t i = at; i < at + 4; ++i)
            bits = bits * 64 + (left[i] == '=' ? 0 : base64_alphabet.find(left[i]));
        bytes += static_cast<char>(bits >> 16U);
        if (left[at + 2] != '=') bytes += static_cast<char>((bits >> 8U) & 255U);
        if (left[at + 3] != '=') bytes += static_cast<char>(bits & 255U);
    }
    return bytes;
}

} // namespace elvantris::operator_control
