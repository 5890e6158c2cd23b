// Fields of a JSON tree that somebody else wrote: a missing one, or one of another type, has its
// default. Nothing is thrown.
#pragma once

#include "tool/json_tree.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

namespace elvantris::operator_control {

// Absent unless it is a text.
std::optional<std::string> find_text(const json_tree& object, const char* key);
std::string text_field(const json_tree& object, const char* key);
bool flag_field(const json_tree& object, const char* key);
// A number that is too large for the type is the nearest that it holds.
std::int64_t number_field(const json_tree& object, const char* key, std::int64_t fallback = 0);
template<typename integer>
integer small_number_field(const json_tree& object, const char* key) {
    using limits = std::numeric_limits<integer>;
    return static_cast<integer>(
        std::clamp<std::int64_t>(number_field(object, key), limits::min(), limits::max()));
}
// An empty array, or an empty object.
const json_tree& array_field(const json_tree& object, const char* key);
const json_tree& object_field(const json_tree& object, const char* key);

} // namespace elvantris::operator_control
