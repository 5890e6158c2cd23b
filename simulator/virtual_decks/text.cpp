#include "text.hpp"

#include <charconv>
#include <cwchar>

namespace elvantris::simulator {

std::wstring to_wide(std::string_view text) {
    std::wstring result;
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text.front());
        const std::size_t size = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        if (size == 1 || size > text.size()) {
            result += static_cast<wchar_t>(first);
            text.remove_prefix(1);
            continue;
        }
        unsigned value = first & (0xFFU >> (size + 1));
        for (std::size_t i = 1; i < size; ++i)
            value = value << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
        result += static_cast<wchar_t>(value);
        text.remove_prefix(size);
    }
    return result;
}

std::string to_hex(std::string_view bytes) {
    static constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    result.reserve(bytes.size() * 2);
    for (const char each : bytes) {
        const auto value = static_cast<unsigned char>(each);
        result += digits[value >> 4];
        result += digits[value & 15U];
    }
    return result;
}

std::optional<std::string> from_hex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::string result;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned value = 0;
        const char* start = text.data() + i;
        const auto [end, error] = std::from_chars(start, start + 2, value, 16);
        if (error != std::errc() || end != start + 2) return std::nullopt;
        result += static_cast<char>(value);
    }
    return result;
}

} // namespace elvantris::simulator
