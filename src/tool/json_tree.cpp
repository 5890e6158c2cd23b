#include "tool/json_tree.hpp"

#include "json/well_formed.hpp"
#include "text/scanning.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t unicode_escape_length = 6;

bool is_high_surrogate(unsigned code) {
    return code >= 0xD800 && code < 0xDC00;
}

bool is_low_surrogate(unsigned code) {
    return code >= 0xDC00 && code < 0xE000;
}

// The number of a \uXXXX at the front.
std::optional<unsigned> escaped_code(std::string_view text) {
    if (text.size() < unicode_escape_length || !text.starts_with("\\u")) return std::nullopt;
    unsigned code = 0;
    for (const char digit : text.substr(2, 4)) {
        if (hex_digit_value(digit) < 0) return std::nullopt;
        code = code * 16 + static_cast<unsigned>(hex_digit_value(digit));
    }
    return code;
}

bool fits_a_double(std::string_view number) {
    double value = 0;
    return std::from_chars(number.data(), number.data() + number.size(), value).ec !=
           std::errc::result_out_of_range;
}

// Copies a text and replaces what a strict reader refuses inside strings and numbers.
class strict_copy {
public:
    explicit strict_copy(std::string_view text) : rest_(text) {}

    std::string make() {
        while (!rest_.empty()) {
            if (rest_.front() == '"') {
                copy(1);
                copy_string();
            } else if (is_digit(rest_.front()) || rest_.front() == '-') {
                copy_number();
            } else {
                copy(1);
            }
        }
        return std::move(copy_);
    }

private:
    void copy(std::size_t size) {
        copy_ += rest_.substr(0, size);
        rest_.remove_prefix(std::min(size, rest_.size()));
    }

    void replace(std::size_t size, std::string_view by) {
        copy_ += by;
        rest_.remove_prefix(size);
    }

    void copy_string() {
        while (!rest_.empty() && rest_.front() != '"') {
            if (rest_.front() == '\\')
                copy_escape();
            else if (const std::size_t size = utf8_length(rest_); size > 0)
                copy(size);
            else
                replace(1, "\xEF\xBF\xBD");
        }
        copy(1);
    }

    void copy_escape() {
        const std::optional<unsigned> code = escaped_code(rest_);
        if (!code) return copy(2);
        const auto next = escaped_code(rest_.substr(unicode_escape_length));
        if (is_high_surrogate(*code) && next && is_low_surrogate(*next))
            copy(2 * unicode_escape_length);
        else if (is_high_surrogate(*code) || is_low_surrogate(*code))
            replace(unicode_escape_length, "\\ufffd");
        else
            copy(unicode_escape_length);
    }

    void copy_number() {
        const std::size_t end = rest_.find_first_not_of("+-.0123456789Ee");
        const std::string_view number = rest_.substr(0, end);
        if (fits_a_double(number))
            copy(number.size());
        else
            replace(number.size(), "null");
    }

    std::string_view rest_;
    std::string copy_;
};

json_tree read_strictly(std::string_view text) {
    // It also bounds the nesting of what becomes a tree.
    if (!json_is_value(text)) return json_tree::value_t::discarded;
    return json_tree::parse(text, nullptr, false);
}

} // namespace

json_tree read_json_tree(std::string_view text) {
    json_tree tree = read_strictly(text);
    return tree.is_discarded() ? read_strictly(strict_copy(text).make()) : tree;
}

} // namespace elvantris::operator_control
