#include "key_spelling.hpp"

#include <cctype>

namespace elvantris::simulator {

namespace {

std::string respell_key(std::string key, key_spelling spelling) {
    if (key.empty()) return key;
    const int first = static_cast<unsigned char>(key.front());
    const int changed =
        spelling == key_spelling::camel_case ? std::tolower(first) : std::toupper(first);
    key.front() = static_cast<char>(changed);
    return key;
}

} // namespace

nlohmann::ordered_json respell(const nlohmann::ordered_json& value, key_spelling spelling) {
    if (spelling == key_spelling::usual || !value.is_structured()) return value;
    nlohmann::ordered_json result =
        value.is_array() ? nlohmann::ordered_json::array() : nlohmann::ordered_json::object();
    for (const auto& [key, each] : value.items()) {
        if (value.is_array())
            result.push_back(respell(each, spelling));
        else
            result[respell_key(key, spelling)] = respell(each, spelling);
    }
    return result;
}

} // namespace elvantris::simulator
