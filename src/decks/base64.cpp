#include "decks/base64.hpp"

#include "text/scanning.hpp"

#include <array>
#include <cstdint>
#include <string_view>

namespace elvantris::operator_control {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t foreign = 0x80000000U; // outside the 24 bits of a group

// What a byte adds to its group's 24 bits, for each of the four places.
using place_table = std::array<std::uint32_t, 256>;
constexpr std::array<place_table, 4> places = [] {
    std::array<place_table, 4> tables{};
    for (std::size_t place = 0; place < 4; ++place) {
        tables[place].fill(foreign);
        for (std::size_t value = 0; value < alphabet.size(); ++value)
            tables[place][static_cast<unsigned char>(alphabet[value])] =
                static_cast<std::uint32_t>(value << (18 - 6 * place));
    }
    return tables;
}();

std::uint32_t place_value(std::size_t place, char byte) {
    return places[place][static_cast<unsigned char>(byte)];
}

std::uint32_t group_bits(const char* group) {
    return place_value(0, group[0]) | place_value(1, group[1]) | place_value(2, group[2]) |
           place_value(3, group[3]);
}

char* write_bytes(char* to, std::uint32_t bits, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        *to++ = static_cast<char>((bits >> (16 - 8 * i)) & 0xFFU);
    return to;
}

// The next four bytes that are not white space, as many as there are.
std::string take_group(std::string_view& text) {
    std::string group;
    while (!text.empty() && group.size() < 4) {
        if (!is_white_space(text.front())) group += text.front();
        text.remove_prefix(1);
    }
    return group;
}

// How many bytes the text's last group stands for; 0 if its padding is not in order.
std::size_t padded_byte_count(const std::string& group) {
    if (group[3] != '=') return 0;
    return group[2] == '=' ? 1 : 2;
}

} // namespace

std::optional<std::string> decode_base64(std::string text) {
    std::string_view rest = text;
    char* to = text.data(); // never ahead of what has been read
    while (true) {
        // The plain run of whole groups, which is nearly always all of the text.
        const char* from = rest.data();
        const char* const end = from + rest.size() / 4 * 4;
        for (; from != end; from += 4) {
            const std::uint32_t bits = group_bits(from);
            if ((bits & foreign) != 0) break;
            to = write_bytes(to, bits, 3);
        }
        rest.remove_prefix(static_cast<std::size_t>(from - rest.data()));
        std::string group = take_group(rest);
        if (group.empty()) break;
        if (group.size() < 4) return std::nullopt;
        std::size_t count = 3;
        if (group.find('=') != std::string::npos) {
            count = padded_byte_count(group);
            const bool is_last = skip_white_space(rest).empty();
            if (count == 0 || !is_last) return std::nullopt;
            group.replace(count + 1, std::string::npos, 3 - count, 'A');
        }
        const std::uint32_t bits = group_bits(group.data());
        if ((bits & foreign) != 0) return std::nullopt;
        to = write_bytes(to, bits, count);
    }
    text.resize(static_cast<std::size_t>(to - text.data()));
    return text;
}

} // namespace elvantris::operator_control
