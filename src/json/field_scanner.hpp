// Reading JSON one field at a time.
//
// There is no document tree. Each reader scans the raw text for the first occurrence of the key
// between double quotes, at any depth, and reads the value behind the next colon; a caller that
// wants the fields of one array element reads them from that element's own text.
//
// Threads: any; nothing is kept between calls.
// Failure: none. A missing, malformed or wrongly typed value gives the caller's default.
// Cost: one pass over the text for each call; `json_find_value` is the fast path.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

inline constexpr std::size_t npos = std::string_view::npos;

// The position of the value's first byte; `npos` without the key or without a colon behind it.
// Where nothing but white space follows the colon, the result is the text's length.
std::size_t json_find_value(std::string_view text, std::string_view key);

// A prefix test: `trueish` reads as true.
bool json_read_bool(std::string_view text, std::string_view key, bool fallback);

// An optional sign and decimal digits; what follows the digits is ignored, overflow saturates.
std::int32_t json_read_int(std::string_view text, std::string_view key, std::int32_t fallback);
std::int64_t json_read_int64(std::string_view text, std::string_view key, std::int64_t fallback);

// The unescaped string. One bad escape, or no closing quote, gives nothing, or the default.
std::optional<std::string> json_find_string(std::string_view text, std::string_view key);
std::string json_read_string(std::string_view text, std::string_view key,
                             std::string_view fallback = {});

// For replies whose keys arrive in either of two spellings: the first that is not empty.
std::string json_read_string_pair(std::string_view text, std::string_view first_key,
                                  std::string_view second_key);

// The raw text of the array, brackets included; empty if there is none. The view points into
// `text`.
std::string_view json_view_array(std::string_view text, std::string_view key);
std::string json_read_array_text(std::string_view text, std::string_view key);

// The raw text of each object in the array; elements that are not objects are skipped.
std::vector<std::string> json_read_object_list(std::string_view text, std::string_view key);

// The same for an array's text that the caller holds already. The views point into it.
std::vector<std::string_view> json_split_object_list(std::string_view array_text);

// The same, one object at a time, for an array that may hold millions.
class json_object_cursor {
public:
    explicit json_object_cursor(std::string_view array_text) : array_text_(array_text) {}

    // Absent behind the last object.
    std::optional<std::string_view> next();

private:
    std::string_view array_text_;
    std::size_t at_ = 0;
    // Unsigned on purpose: behind a stray closing brace, which wraps it, no object counts any more.
    std::uint32_t depth_ = 0;
};

// Every run of digits in the array, also inside strings and nested values. The first `most`
// different ones, for a text of which the sender may put in millions.
std::set<std::int32_t> json_read_int_set(std::string_view text, std::string_view key,
                                         std::size_t most = npos);

// Whether the text is one object from its opening to its closing brace, with nothing but white
// space around it. What is between the braces isn't checked, but a brace in a string doesn't count.
bool json_is_whole_object(std::string_view text);

// Whether the text begins with an object that never closes: its end is missing. White space may
// come first. False for any text that begins with something else.
bool json_object_is_cut(std::string_view text);

// As `json_find_value`, yet with the span's end behind the value. False where the value does not
// end inside the text.
bool find_json_value_span(std::string_view text, std::string_view key, std::size_t& start_out,
                          std::size_t& end_out);

} // namespace elvantris::operator_control
