#include "arguments.hpp"

#include <charconv>

namespace elvantris::simulator {

argument_list::argument_list(int count, char** values) {
    for (int i = 1; i < count; i += 2) {
        const std::string name = values[i];
        if (name.size() < 3 || name.compare(0, 2, "--") != 0)
            throw argument_error("not an option: " + name);
        if (i + 1 >= count) throw argument_error(name + " needs a value");
        values_[name.substr(2)] = values[i + 1];
    }
}

void argument_list::take(const std::string& name, std::string& variable) {
    const auto found = values_.find(name);
    if (found == values_.end()) return;
    variable = found->second;
    values_.erase(found);
}

void argument_list::take(const std::string& name, std::uint16_t& variable) {
    std::string text;
    take(name, text);
    if (text.empty()) return;
    const char* end = text.data() + text.size();
    const auto [stopped_at, error] = std::from_chars(text.data(), end, variable);
    if (error != std::errc() || stopped_at != end || variable == 0)
        throw argument_error("--" + name + " must be from 1 to 65535");
}

void argument_list::finish() const {
    if (!values_.empty()) throw argument_error("unknown option: --" + values_.begin()->first);
}

} // namespace elvantris::simulator
