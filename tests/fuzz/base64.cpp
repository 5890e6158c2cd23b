#include "decks/base64.hpp"
#include "fuzz_input.hpp"

#include <optional>
#include <string>

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The rules one after another, a byte at a time.
std::optional<std::string> slowly_decoded(std::string_view text) {
    std::string left;
    for (const char byte : text) {
        if (byte == ' ' || (byte >= '\t' && byte <= '\r')) continue;
        if (byte != '=' && alphabet.find(byte) == std::string_view::npos) return std::nullopt;
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
            bits = bits * 64 + (left[i] == '=' ? 0 : alphabet.find(left[i]));
        bytes += static_cast<char>(bits >> 16U);
        if (left[at + 2] != '=') bytes += static_cast<char>((bits >> 8U) & 255U);
        if (left[at + 3] != '=') bytes += static_cast<char>(bits & 255U);
    }
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text = as_text(bytes, size);
    require(elvantris::operator_control::decode_base64(std::string(text)) == slowly_decoded(text));
    return 0;
}
