// What every text format here is read with: white space, digits, numbers, words.
//
// Pure; never throws. The parsers are headers so that each caller's types stay its own.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace elvantris::operator_control {

inline constexpr std::string_view white_space = " \t\n\v\f\r";

inline bool is_white_space(char byte) {
    return white_space.find(byte) != std::string_view::npos;
}

inline bool is_digit(char byte) {
    return byte >= '0' && byte <= '9';
}

inline std::string_view skip_white_space(std::string_view text) {
    const std::size_t first = text.find_first_not_of(white_space);
    return first == std::string_view::npos ? std::string_view{} : text.substr(first);
}

// Whether the byte can only be inside a UTF-8 character, not at its beginning.
inline bool continues_utf8(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// The value of a hexadecimal digit of either case, or -1.
inline int hex_digit_value(char byte) {
    if (is_digit(byte)) return byte - '0';
    if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
    return -1;
}

template<typename integer>
struct parsed_integer {
    integer value = 0;
    std::size_t length = 0;  // bytes used, sign and white space included
    bool overflowed = false; // the value is then the type's nearest limit
};

// Optional white space, for signed types an optional sign, decimal digits.
// Absent without a digit; an overflow saturates and says so.
template<typename integer>
std::optional<parsed_integer<integer>> parse_integer(std::string_view text) {
    using limits = std::numeric_limits<integer>;
    const std::string_view trimmed = skip_white_space(text);
    std::size_t at = 0;
    bool negative = false;
    if (limits::is_signed && !trimmed.empty() && (trimmed[0] == '+' || trimmed[0] == '-')) {
        negative = trimmed[0] == '-';
        at = 1;
    }
    if (at >= trimmed.size() || !is_digit(trimmed[at])) return std::nullopt;

    parsed_integer<integer> result;
    for (; at < trimmed.size() && is_digit(trimmed[at]); ++at) {
        if (result.overflowed) continue;
        const auto digit = static_cast<integer>(trimmed[at] - '0');
        const bool fits = negative ? result.value >= (limits::min() + digit) / 10
                                   : result.value <= (limits::max() - digit) / 10;
        if (fits) {
            const auto scaled = static_cast<integer>(result.value * 10);
            result.value = static_cast<integer>(negative ? scaled - digit : scaled + digit);
        } else {
            result.overflowed = true;
            result.value = negative ? limits::min() : limits::max();
        }
    }
    result.length = (text.size() - trimmed.size()) + at;
    return result;
}

// The first tokens of a line, separated by white space; missing ones are empty.
struct first_two_tokens {
    std::string_view first;
    std::string_view second;
};
inline first_two_tokens split_first_two_tokens(std::string_view line) {
    const auto take = [&line] {
        line = skip_white_space(line);
        const std::string_view token = line.substr(0, line.find_first_of(white_space));
        line.remove_prefix(token.size());
        return token;
    };
    const std::string_view first = take();
    return {.first = first, .second = take()};
}

} // namespace elvantris::operator_control
