#include "json/field_scanner.hpp"
#include "fuzz_input.hpp"
#include "json/escape.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);

    // What the writer escapes, the reader gives back byte for byte.
    require(json_read_string("{\"a\":\"" + json_escape(text) + "\"}", "a") == text);

    const std::size_t at = json_find_value(text, "a");
    require(at == npos || at <= text.size());
    json_read_bool(text, "a", false);
    json_read_int(text, "a", 0);
    json_read_int64(text, "a", 0);
    json_read_string(text, "a");
    json_read_int_set(text, "a");
    const std::string array = json_read_array_text(text, "a");
    require(array.empty() || (array.front() == '[' && array.back() == ']'));
    for (const std::string& object : json_read_object_list(text, "a"))
        require(object.front() == '{' && object.back() == '}');
    std::size_t start = 0;
    std::size_t end = 0;
    if (find_json_value_span(text, "a", start, end)) require(start < end && end <= text.size());
    return 0;
}
