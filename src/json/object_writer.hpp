// Writing JSON: objects field by field, in the order of the calls and without white space.
//
//   json_object_writer().text("serial", "SER-A").number("page", 3).written()
//   {"serial":"SER-A","page":3}
//
// Threads: a writer belongs to its caller. Failure: none; names are written as they stand.
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {

class json_object_writer {
public:
    json_object_writer() = default;

    // Goes on behind the fields of an object that is written already.
    explicit json_object_writer(std::string object) : fields_(std::move(object)) {
        fields_.pop_back();
    }

    json_object_writer& text(std::string_view name, std::string_view value);
    json_object_writer& flag(std::string_view name, bool value);

    template<std::integral number_type>
    json_object_writer& number(std::string_view name, number_type value) {
        return json(name, std::to_string(value));
    }

    // `value` is JSON already.
    json_object_writer& json(std::string_view name, std::string_view value);

    std::string written() const { return fields_ + '}'; }

private:
    std::string fields_ = "{";
};

// The bare word.
inline std::string_view json_bool(bool value) {
    return value ? "true" : "false";
}

// An array of all that the range holds; `write` gives the JSON of one element.
template<typename range, typename writer>
std::string json_array(const range& elements, writer write) {
    std::string out = "[";
    for (const auto& element : elements) {
        if (out.size() > 1) out += ',';
        out += write(element);
    }
    return out + ']';
}

} // namespace elvantris::operator_control
