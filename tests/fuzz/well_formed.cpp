// Our check of foreign JSON against a complete reader.
#include "json/well_formed.hpp"
#include "fuzz_input.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

using namespace elvantris::operator_control;

// The other reader refuses half a surrogate pair and numbers beyond a double, which the grammar
// allows.
bool has_escape_or_large_number(std::string_view text) {
    std::size_t digits = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        digits = text[at] >= '0' && text[at] <= '9' ? digits + 1 : 0;
        if (digits > 300) return true;
        if (digits > 0 && at + 1 < text.size() && (text[at + 1] == 'e' || text[at + 1] == 'E'))
            return true;
        if (text.substr(at).starts_with("\\ud") || text.substr(at).starts_with("\\uD")) return true;
    }
    return false;
}

// It takes a byte order mark, an end at a zero byte, and nesting of any depth.
bool has_more_than_grammar(std::string_view text) {
    return text.starts_with('\xEF') || text.find('\0') != std::string_view::npos ||
           std::ranges::count_if(text, [](char byte) { return byte == '[' || byte == '{'; }) >
               static_cast<std::ptrdiff_t>(deepest_json_nesting);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view text = as_text(bytes, size);
    const bool ours = json_is_value(text);
    const bool theirs = nlohmann::json::accept(text.begin(), text.end());
    if (ours && !theirs) require(has_escape_or_large_number(text));
    if (theirs && !ours) require(has_more_than_grammar(text));
    return 0;
}
