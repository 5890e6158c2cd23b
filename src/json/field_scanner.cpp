#include "json/field_scanner.hpp"

#include "json/number_text.hpp"

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

// Walks JSON text and tells whether a byte stands inside a string, quotes included.
class string_tracker {
public:
    bool inside_string(char byte) {
        if (escaped_) {
            escaped_ = false;
            return true;
        }
        if (in_string_) {
            if (byte == '\\') escaped_ = true;
            if (byte == '"') in_string_ = false;
            return true;
        }
        if (byte == '"') in_string_ = true;
        return in_string_;
    }

private:
    bool in_string_ = false;
    bool escaped_ = false;
};

// The position behind the bracket that closes the one at `start`; the other kind is not counted.
std::size_t find_closing(std::string_view text, std::size_t start, char open, char close) {
    string_tracker tracker;
    std::size_t depth = 0;
    for (std::size_t at = start; at < text.size(); ++at) {
        if (tracker.inside_string(text[at])) continue;
        if (text[at] == open) ++depth;
        if (text[at] == close && --depth == 0) return at + 1;
    }
    return npos;
}

// The position behind the quote that closes the string which opens at `start`.
std::size_t find_string_end(std::string_view text, std::size_t start) {
    for (std::size_t at = start + 1; at < text.size(); ++at) {
        if (text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            return at + 1;
    }
    return npos;
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

// `text` begins behind the opening quote. Absent for a bad escape or without a closing quote.
std::optional<std::string> unescape_string(std::string_view text) {
    std::string out;
    out.reserve(64);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t special = text.find_first_of("\"\\", at);
        if (special == npos) return std::nullopt;
        out.append(text, at, special - at);
        if (text[special] == '"') return out;
        if (special + 1 >= text.size()) return std::nullopt;
        at = special + 2;
        switch (text[special + 1]) {
        case '"':
            out += '"';
            break;
        case '\\':
            out += '\\';
            break;
        case '/':
            out += '/';
            break;
        case 'b':
            out += '\b';
            break;
        case 'f':
            out += '\f';
            break;
        case 'n':
            out += '\n';
            break;
        case 'r':
            out += '\r';
            break;
        case 't':
            out += '\t';
            break;
        case 'u':
            if (!append_unicode_escape(out, text, at)) return std::nullopt;
            break;
        default:
            return std::nullopt;
        }
    }
    return std::nullopt;
}

template<typename integer>
integer read_integer(std::string_view text, std::string_view key, integer fallback) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value) return fallback;
    const auto parsed = parse_integer<integer>(*value);
    return parsed ? parsed->value : fallback;
}

std::string_view array_view(std::string_view text, std::string_view key) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value || value->front() != '[') return {};
    const std::size_t end = find_closing(*value, 0, '[', ']');
    return end == npos ? std::string_view{} : value->substr(0, end);
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

std::string json_read_string(std::string_view text, std::string_view key,
                             std::string_view fallback) {
    const std::optional<std::string_view> value = value_text(text, key);
    if (!value || value->front() != '"') return std::string(fallback);
    std::optional<std::string> content = unescape_string(value->substr(1));
    return content ? std::move(*content) : std::string(fallback);
}

std::string json_read_string_pair(std::string_view text, std::string_view first_key,
                                  std::string_view second_key) {
    std::string first = json_read_string(text, first_key);
    return first.empty() ? json_read_string(text, second_key) : first;
}

std::string json_read_array_text(std::string_view text, std::string_view key) {
    return std::string(array_view(text, key));
}

std::vector<std::string_view> json_split_object_list(std::string_view array_text) {
    std::vector<std::string_view> objects;
    string_tracker tracker;
    // Unsigned on purpose: behind a stray closing brace, which wraps it, no object counts any more.
    std::uint32_t depth = 0;
    std::size_t start = npos;
    for (std::size_t at = 0; at < array_text.size(); ++at) {
        if (tracker.inside_string(array_text[at])) continue;
        if (array_text[at] == '{' && depth++ == 0) start = at;
        if (array_text[at] == '}' && depth-- == 1 && start != npos) {
            objects.push_back(array_text.substr(start, at + 1 - start));
            start = npos;
        }
    }
    return objects;
}

std::vector<std::string> json_read_object_list(std::string_view text, std::string_view key) {
    const std::vector<std::string_view> objects = json_split_object_list(array_view(text, key));
    return {objects.begin(), objects.end()};
}

std::set<std::int32_t> json_read_int_set(std::string_view text, std::string_view key) {
    std::set<std::int32_t> values;
    std::string_view rest = array_view(text, key);
    while (true) {
        const std::size_t start = rest.find_first_of("-0123456789");
        if (start == npos) return values;
        rest.remove_prefix(start);
        const auto parsed = parse_integer<std::int32_t>(rest);
        if (!parsed) return values;
        values.insert(parsed->value);
        rest.remove_prefix(parsed->length);
    }
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
