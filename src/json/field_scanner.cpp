#include "json/field_scanner.hpp"

#include "text/scanning.hpp"

#include <optional>

namespace elvantris::operator_control {
namespace {

// Finds `"key"` in `text`. A plain search stops at every quote of a JSON text; this one tests three
// bytes of the needle at a whole block of positions at once, in a form that compilers turn into
// vector instructions, and looks closer only where all of them agree.
std::size_t find_quoted(std::string_view text, std::string_view key) {
    const std::size_t length = key.size() + 2;
    if (text.size() < length) return npos;
    const auto matches_at = [&](std::size_t at) {
        return text[at] == '"' && text[at + length - 1] == '"' &&
               text.compare(at + 1, key.size(), key) == 0;
    };

    constexpr std::size_t block = 128;
    const std::size_t last = text.size() - length;
    const char second = key.empty() ? '"' : key.front();
    const char next_to_last = key.empty() ? '"' : key.back();
    std::size_t at = 0;
    for (; at + block <= last + 1; at += block) {
        const char* const front = text.data() + at + 1;
        const char* const back = text.data() + at + length - 2;
        unsigned char agree = 0;
        for (std::size_t i = 0; i < block; ++i)
            agree |=
                static_cast<unsigned char>(static_cast<unsigned char>(front[i] == second) &
                                           static_cast<unsigned char>(back[i] == next_to_last) &
                                           static_cast<unsigned char>(back[i + 1] == '"'));
        if (agree == 0) continue;
        for (std::size_t i = at; i < at + block; ++i)
            if (matches_at(i)) return i;
    }
    for (; at <= last; ++at)
        if (matches_at(at)) return at;
    return npos;
}

// The position behind the quote that closes the string which opens at `start`.
std::size_t find_string_end(std::string_view text, std::size_t start) {
    const std::size_t content = start + 1;
    for (std::size_t quote = text.find('"', content); quote != npos;
         quote = text.find('"', quote + 1)) {
        std::size_t backslashes = 0;
        while (quote - backslashes > content && text[quote - backslashes - 1] == '\\')
            ++backslashes;
        if (backslashes % 2 == 0) return quote + 1;
    }
    return npos;
}

// The position behind the bracket that closes the one at `start`; the other kind is not counted.
std::size_t find_closing(std::string_view text, std::size_t start, char open, char close) {
    std::size_t depth = 0;
    for (std::size_t at = start; at < text.size(); ++at) {
        if (text[at] == '"') {
            at = find_string_end(text, at);
            if (at == npos) return npos;
            --at;
        } else if (text[at] == open) {
            ++depth;
        } else if (text[at] == close && --depth == 0) {
            return at + 1;
        }
    }
    return npos;
}

// The position behind the object with which the text begins, white space skipped; npos if the
// object never closes, absent if the text begins with something else.
std::optional<std::size_t> end_of_leading_object(std::string_view text) {
    const std::size_t start = text.find_first_not_of(white_space);
    if (start == npos || text[start] != '{') return std::nullopt;
    return find_closing(text, start, '{', '}');
}

// The text from the value's first byte on; absent where there is none.
std::optional<std::string_view> value_text(std::string_view text, std::string_view key) {
    const std::size_t at = json_find_value(text, key);
    if (at == npos || at >= text.size()) return std::nullopt;
    return text.substr(at);
}

std::optional<std::uint32_t> four_hex_digits(std::string_view text, std::size_t at) {
    if (at + 4 > text.size()) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        const int digit = hex_digit_value(text[i]);
        if (digit < 0) return std::nullopt;
        value = value * 16 + static_cast<std::uint32_t>(digit);
    }
    return value;
}

void append_utf8(std::string& out, std::uint32_t code) {
    const auto append = [&out](std::uint32_t byte) { out += static_cast<char>(byte); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0U | (code >> 6U));
        append(0x80U | (code & 0x3FU));
    } else if (code < 0x10000) {
        append(0xE0U | (code >> 12U));
        append(0x80U | ((code >> 6U) & 0x3FU));
        append(0x80U | (code & 0x3FU));
    } else {
        append(0xF0U | (code >> 18U));
        append(0x80U | ((code >> 12U) & 0x3FU));
        append(0x80U | ((code >> 6U) & 0x3FU));
        append(0x80U | (code & 0x3FU));
    }
}

// Reads the digits of a \u escape at `at` and moves `at` behind them, over a surrogate pair too.
bool append_unicode_escape(std::string& out, std::string_view text, std::size_t& at) {
    const std::optional<std::uint32_t> first = four_hex_digits(text, at);
    if (!first || (*first >= 0xDC00 && *first <= 0xDFFF)) return false;
    at += 4;
    if (*first < 0xD800 || *first > 0xDBFF) {
        append_utf8(out, *first);
        return true;
    }
    if (text.substr(at, 2) != "\\u") return false;
    const std::optional<std::uint32_t> second = four_hex_digits(text, at + 2);
    if (!second || *second < 0xDC00 || *second > 0xDFFF) return false;
    at += 6;
    append_utf8(out, 0x10000U + ((*first - 0xD800U) << 10U) + (*second - 0xDC00U));
    return true;
}

// The byte that a short escape stands for; 0 for an escape that JSON doesn't have.
char short_escape(char letter) {
    switch (letter) {
    case '"':
    case '\\':
    case '/':
        return letter;
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return 0;
    }
}

// `text` begins with the opening quote. Absent for a bad escape or without a closing quote.
std::optional<std::string> unescape_string(std::string_view text) {
    const std::size_t end = find_string_end(text, 0);
    if (end == npos) return std::nullopt;
    const std::string_view content = text.substr(1, end - 2);
    std::string out;
    out.reserve(content.size());
    for (std::size_t at = 0;;) {
        const std::size_t backslash = content.find('\\', at);
        out.append(content.substr(at, backslash - at));
        if (backslash == npos) return out;
        const char letter = content[backslash + 1]; // the closing quote is not behind a backslash
        at = backslash + 2;
        if (letter == 'u') {
            if (!append_unicode_escape(out, content, at)) return std::nullopt;
        } else if (const char byte = short_escape(letter); byte != 0) {
            out += byte;
        } else {
            return std::nullopt;
        }
    }
}

template<typename integer>
integer read_integer(std::string_view text, std::string_view key, integer fallback) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value) return fallback;
    const auto parsed = parse_integer<integer>(*value);
    return parsed ? parsed->value : fallback;
}

} // namespace

std::size_t json_find_value(std::string_view text, std::string_view key) {
    const std::size_t needle = find_quoted(text, key);
    if (needle == npos) return npos;
    const std::size_t colon = text.find(':', needle + key.size() + 2);
    if (colon == npos) return npos;
    const std::size_t value = text.find_first_not_of(white_space, colon + 1);
    return value == npos ? text.size() : value;
}

bool json_read_bool(std::string_view text, std::string_view key, bool fallback) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value) return fallback;
    if (value->starts_with("true")) return true;
    if (value->starts_with("false")) return false;
    return fallback;
}

std::int32_t json_read_int(std::string_view text, std::string_view key, std::int32_t fallback) {
    return read_integer(text, key, fallback);
}

std::int64_t json_read_int64(std::string_view text, std::string_view key, std::int64_t fallback) {
    return read_integer(text, key, fallback);
}

std::optional<std::string> json_find_string(std::string_view text, std::string_view key) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value || value->front() != '"') return std::nullopt;
    return unescape_string(*value);
}

std::string json_read_string(std::string_view text, std::string_view key,
                             std::string_view fallback) {
    std::optional<std::string> content = json_find_string(text, key);
    return content ? std::move(*content) : std::string(fallback);
}

std::string json_read_string_pair(std::string_view text, std::string_view first_key,
                                  std::string_view second_key) {
    std::string first = json_read_string(text, first_key);
    return first.empty() ? json_read_string(text, second_key) : first;
}

std::string_view json_view_array(std::string_view text, std::string_view key) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value || value->front() != '[') return {};
    const std::size_t end = find_closing(*value, 0, '[', ']');
    return end == npos ? std::string_view{} : value->substr(0, end);
}

std::string json_read_array_text(std::string_view text, std::string_view key) {
    return std::string(json_view_array(text, key));
}

std::optional<std::string_view> json_object_cursor::next() {
    std::size_t start = npos;
    for (; at_ < array_text_.size(); ++at_) {
        const char byte = array_text_[at_];
        if (byte == '"') {
            const std::size_t end = find_string_end(array_text_, at_);
            if (end == npos) break;
            at_ = end - 1;
        } else if (byte == '{') {
            if (depth_++ == 0) start = at_;
        } else if (byte == '}' && depth_-- == 1 && start != npos) {
            return array_text_.substr(start, ++at_ - start);
        }
    }
    at_ = array_text_.size();
    return std::nullopt;
}

std::vector<std::string_view> json_split_object_list(std::string_view array_text) {
    std::vector<std::string_view> objects;
    json_object_cursor cursor(array_text);
    while (const auto object = cursor.next())
        objects.push_back(*object);
    return objects;
}

std::vector<std::string> json_read_object_list(std::string_view text, std::string_view key) {
    const std::vector<std::string_view> objects =
        json_split_object_list(json_view_array(text, key));
    return {objects.begin(), objects.end()};
}

std::set<std::int32_t> json_read_int_set(std::string_view text, std::string_view key,
                                         std::size_t most) {
    std::set<std::int32_t> values;
    std::string_view rest = json_view_array(text, key);
    while (values.size() < most) {
        const std::size_t start = rest.find_first_of("-0123456789");
        if (start == npos) return values;
        rest.remove_prefix(start);
        const auto parsed = parse_integer<std::int32_t>(rest);
        if (!parsed) return values;
        values.insert(parsed->value);
        rest.remove_prefix(parsed->length);
    }
    return values;
}

bool json_is_whole_object(std::string_view text) {
    const auto end = end_of_leading_object(text);
    return end && *end != npos && text.find_first_not_of(white_space, *end) == npos;
}

bool json_object_is_cut(std::string_view text) {
    return end_of_leading_object(text) == npos;
}

bool find_json_value_span(std::string_view text, std::string_view key, std::size_t& start_out,
                          std::size_t& end_out) {
    const std::size_t start = json_find_value(text, key);
    if (start == npos || start >= text.size()) return false;

    std::size_t end = npos;
    switch (text[start]) {
    case '{':
        end = find_closing(text, start, '{', '}');
        break;
    case '[':
        end = find_closing(text, start, '[', ']');
        break;
    case '"':
        end = find_string_end(text, start);
        break;
    default:
        end = text.find_first_of(",}", start + 1);
    }
    if (end == npos) return false;
    start_out = start;
    end_out = end;
    return true;
}

} // namespace elvantris::operator_control
