// Fields of a JSON tree that somebody else wrote: a missing one, or one of another type, has its
// default. Nothing is thrown.
#pragma once

#include "tool/json_tree.hpp"

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

std::string text_field(const json_tree& object, const char* key);
bool flag_field(const json_tree& object, const char* key);
std::int64_t number_field(const json_tree& object, const char* key, std::int64_t fallback = 0);
// An empty array, or an empty object.
const json_tree& array_field(const json_tree& object, const char* key);
const json_tree& object_field(const json_tree& object, const char* key);

} // namespace elvantris::operator_control
