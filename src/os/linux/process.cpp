#include "os/process.hpp"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

// More than the program ever needs, and few enough for what it starts.
constexpr rlim_t most_descriptors = 4096;

} // namespace

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

void raise_descriptor_limit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = std::min(limit.rlim_max, most_descriptors);
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = wanted;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

bool descriptors_left(std::size_t count) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return true;
    // The lowest free number is what a new descriptor gets: all below it are in use.
    const int next = ::eventfd(0, EFD_CLOEXEC);
    if (next < 0) return count == 0;
    ::close(next);
    return static_cast<rlim_t>(next) + count <= limit.rlim_cur;
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
