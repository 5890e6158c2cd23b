#include "json/well_formed.hpp"

#include "text/scanning.hpp"

#include <algorithm>
#include <bitset>

namespace elvantris::operator_control {
namespace {

// Walks over a text; each `take_...` moves behind what it finds at the front, or returns false.
class json_walker {
public:
    explicit json_walker(std::string_view text) : rest_(text) {}

    bool take_whole_text() {
        do {
            if (!take_innermost_value()) return false;
            while (depth_ > 0 && take_closing()) {
            }
        } while (depth_ > 0 && take_separator());
        skip_blanks();
        return depth_ == 0 && rest_.empty();
    }

private:
    // Goes down through opening brackets to the first value that holds no other.
    bool take_innermost_value() {
        while (true) {
            skip_blanks();
            const bool object = take('{');
            if (!object && !take('[')) return take_scalar();
            if (depth_ == deepest_json_nesting) return false;
            objects_[depth_++] = object;
            if (take_closing()) return true;
            if (object && !take_name()) return false;
        }
    }

    bool take_closing() {
        skip_blanks();
        if (!take(in_object() ? '}' : ']')) return false;
        --depth_;
        return true;
    }

    bool take_separator() { return take(',') && (!in_object() || take_name()); }

    bool take_name() {
        skip_blanks();
        if (!take_string()) return false;
        skip_blanks();
        return take(':');
    }

    bool take_scalar() {
        if (rest_.starts_with('"')) return take_string();
        return take_word("true") || take_word("false") || take_word("null") || take_number();
    }

    bool take_string() {
        if (!take('"')) return false;
        while (!rest_.empty()) {
            const char byte = rest_.front();
            if (byte == '"') return take('"');
            if (byte == '\\') {
                if (!take_escape()) return false;
                continue;
            }
            const std::size_t length = utf8_length(rest_);
            if (length == 0 || (byte >= 0 && byte < 0x20)) return false;
            rest_.remove_prefix(length);
        }
        return false;
    }

    bool take_escape() {
        constexpr std::string_view letters = "\"\\/bfnrt";
        if (rest_.size() < 2) return false;
        if (rest_[1] != 'u') {
            const bool known = letters.find(rest_[1]) != std::string_view::npos;
            rest_.remove_prefix(2);
            return known;
        }
        const std::string_view digits = rest_.substr(2, 4);
        rest_.remove_prefix(2 + digits.size());
        return digits.size() == 4 &&
               std::ranges::all_of(digits, [](char digit) { return hex_digit_value(digit) >= 0; });
    }

    bool take_number() {
        take('-');
        if (!take('0') && !take_digits()) return false;
        if (take('.') && !take_digits()) return false;
        if (take('e') || take('E')) {
            if (!take('+')) take('-');
            return take_digits();
        }
        return true;
    }

    bool take_digits() {
        const auto end = std::ranges::find_if_not(rest_, is_digit);
        const auto length = static_cast<std::size_t>(end - rest_.begin());
        rest_.remove_prefix(length);
        return length > 0;
    }

    bool take_word(std::string_view word) {
        if (!rest_.starts_with(word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }

    bool take(char wanted) {
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }

    void skip_blanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n\r"), rest_.size()));
    }

    bool in_object() const { return objects_[depth_ - 1]; }

    std::string_view rest_;
    std::bitset<deepest_json_nesting> objects_; // which of the open brackets are braces
    std::size_t depth_ = 0;
};

} // namespace

std::size_t utf8_length(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    if (lead < 0xC2 || lead > 0xF4) return 0;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() < length) return 0;
    for (std::size_t at = 1; at < length; ++at)
        if (!continues_utf8(text[at])) return 0;
    const bool overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool surrogate = lead == 0xED && byte(1) > 0x9F;
    const bool beyond = lead == 0xF4 && byte(1) > 0x8F;
    return overlong || surrogate || beyond ? 0 : length;
}

bool json_is_value(std::string_view text) {
    return json_walker(text).take_whole_text();
}

} // namespace elvantris::operator_control
