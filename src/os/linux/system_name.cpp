#include "os/system_name.hpp"

#include "os/files.hpp"

#include <string_view>

#include <sys/utsname.h>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t largest_description = 65536;

// The value of one line, without its quotes.
std::string distribution_name() {
    const std::string text = read_whole_file("/etc/os-release", largest_description).value_or("");
    constexpr std::string_view key = "\nPRETTY_NAME=";
    const std::string lines = '\n' + text;
    const std::size_t found = lines.find(key);
    if (found == std::string::npos) return "";
    const std::size_t begin = found + key.size();
    std::string name = lines.substr(begin, lines.find('\n', begin) - begin);
    if (name.size() >= 2 && name.front() == '"' && name.back() == '"')
        name = name.substr(1, name.size() - 2);
    return name;
}

} // namespace

std::string system_name() {
    std::string name = distribution_name();
    utsname kernel{};
    if (::uname(&kernel) != 0) return name;
    if (!name.empty()) name += ", ";
    return name.append(kernel.sysname).append(" ").append(kernel.release);
}

} // namespace elvantris::operator_control
