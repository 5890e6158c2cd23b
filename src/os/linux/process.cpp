#include "os/process.hpp"

#include <array>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace elvantris::operator_control {

std::vector<std::string> command_line_arguments(int argc, char** argv) {
    return {argv, argv + argc};
}

std::optional<std::string> environment_variable(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return value;
}

void ignore_write_signals() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

std::string host_name() {
    std::array<char, 256> buffer{};
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0) return {};
    const std::string name = buffer.data();
    return name.substr(0, name.find('.')).substr(0, 15);
}

std::optional<std::string> user_data_folder() {
    if (auto folder = environment_variable("XDG_DATA_HOME"); folder && !folder->empty())
        return folder;
    if (auto home = environment_variable("HOME"); home && !home->empty())
        return *home + "/.local/share";
    return std::nullopt;
}

} // namespace elvantris::operator_control
