#include "tool/json_fields.hpp"

namespace elvantris::operator_control {
namespace {

const json_tree& field(const json_tree& object, const char* key) {
    static const json_tree none;
    const auto found = object.find(key);
    return found == object.end() ? none : *found;
}

} // namespace

std::optional<std::string> find_text(const json_tree& object, const char* key) {
    const json_tree& value = field(object, key);
    return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
}

std::string text_field(const json_tree& object, const char* key) {
    return find_text(object, key).value_or("");
}

bool flag_field(const json_tree& object, const char* key) {
    const json_tree& value = field(object, key);
    return value.is_boolean() && value.get<bool>();
}

std::int64_t number_field(const json_tree& object, const char* key, std::int64_t fallback) {
    const json_tree& value = field(object, key);
    if (!value.is_number_integer()) return fallback;
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > std::uint64_t{most}) return most;
    return value.get<std::int64_t>();
}

const json_tree& array_field(const json_tree& object, const char* key) {
    static const json_tree empty = json_tree::array();
    const json_tree& value = field(object, key);
    return value.is_array() ? value : empty;
}

const json_tree& object_field(const json_tree& object, const char* key) {
    static const json_tree empty = json_tree::object();
    const json_tree& value = field(object, key);
    return value.is_object() ? value : empty;
}

} // namespace elvantris::operator_control
