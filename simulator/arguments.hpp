// Command lines made of "--name VALUE" alone.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

namespace elvantris::simulator {

struct argument_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class argument_list {
public:
    // Throws argument_error for anything that is not a name followed by its value.
    argument_list(int count, char** values);

    // Change the variable if the option was given. A number, such as a port, is from 1 to 65535.
    void take(const std::string& name, std::string& variable);
    void take(const std::string& name, std::uint16_t& variable);

    // Throws argument_error if an option was given that nobody took.
    void finish() const;

private:
    std::map<std::string, std::string> values_;
};

} // namespace elvantris::simulator
