#include "json/object_writer.hpp"

#include "json/escape.hpp"

namespace elvantris::operator_control {

json_object_writer& json_object_writer::text(std::string_view name, std::string_view value) {
    return json(name, '"' + json_escape(value) + '"');
}

json_object_writer& json_object_writer::flag(std::string_view name, bool value) {
    return json(name, json_bool(value));
}

json_object_writer& json_object_writer::json(std::string_view name, std::string_view value) {
    if (fields_.size() > 1) fields_ += ',';
    fields_.append("\"").append(name).append("\":").append(value);
    return *this;
}

} // namespace elvantris::operator_control
