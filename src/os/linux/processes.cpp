#include "os/processes.hpp"

#include "os/linux/open_descriptors.hpp"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

namespace fs = std::filesystem;

std::string folder_of(process_number process) {
    return "/proc/" + std::to_string(process);
}

// Cut to 15 characters, and open to everybody.
std::string short_name(process_number process) {
    std::ifstream file(folder_of(process) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

bool has_open(const fs::path& process_folder, std::string_view link) {
    std::error_code error;
    // Another user's can't be listed, and a process may end meanwhile: both are the end of the
    // list.
    for (fs::directory_iterator entry(process_folder / "fd", error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unreadable;
        if (fs::read_symlink(entry->path(), unreadable).native() == link) return true;
    }
    return false;
}

} // namespace

running_program describe_process(process_number process) {
    constexpr std::string_view deleted = " (deleted)";
    running_program program{.process = process};
    std::error_code error;
    program.path = fs::read_symlink(folder_of(process) + "/exe", error).native();
    program.replaced = program.path.ends_with(deleted);
    if (program.replaced) program.path.resize(program.path.size() - deleted.size());
    program.name =
        program.path.empty() ? short_name(process) : fs::path(program.path).filename().native();
    return program;
}

running_program describe_this_process() {
    return describe_process(static_cast<process_number>(::getpid()));
}

std::vector<running_program> programs_with_open(std::string_view link) {
    std::vector<running_program> programs;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().native();
        process_number process = 0;
        const auto [rest, failure] =
            std::from_chars(name.data(), name.data() + name.size(), process);
        if (failure == std::errc() && rest == name.data() + name.size() &&
            has_open(entry->path(), link))
            programs.push_back(describe_process(process));
    }
    return programs;
}

std::optional<std::vector<running_program>> programs_holding(const std::string& path) {
    return programs_with_open(path);
}

} // namespace elvantris::operator_control
