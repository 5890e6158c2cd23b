#include "tool/new_file.hpp"

#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <optional>

namespace elvantris::operator_control {
namespace {

constexpr int most_partial_files = 9; // left by runs that were killed

std::optional<std::string> unused_name_beside(const std::string& path) {
    for (int number = 1; number <= most_partial_files; ++number) {
        std::string name = path + ".partial-" + std::to_string(number);
        if (!path_exists(name)) return name;
    }
    return std::nullopt;
}

new_file_outcome give_name(const std::string& temporary, const std::string& path) {
    // Somebody may have been quicker.
    if (path_exists(path)) return new_file_outcome::exists;
    const bool named = keep_file_as(temporary, path);
    if (path_exists(path)) return named ? new_file_outcome::written : new_file_outcome::exists;
    return new_file_outcome::not_written;
}

} // namespace

new_file_outcome write_new_file(const std::string& path, std::string_view bytes) {
    if (path_exists(path)) return new_file_outcome::exists;
    const std::optional<std::string> temporary = unused_name_beside(path);
    if (!temporary) return new_file_outcome::not_created;
    new_file_outcome outcome = new_file_outcome::not_written;
    switch (write_whole_file(*temporary, bytes)) {
    case write_outcome::not_opened:
        return new_file_outcome::not_created;
    case write_outcome::written:
        outcome = give_name(*temporary, path);
        break;
    case write_outcome::failed_after_opening:
        break;
    }
    remove_file(*temporary);
    return outcome;
}

std::string new_file_sentence(new_file_outcome outcome, const std::string& path) {
    switch (outcome) {
    case new_file_outcome::written:
        return "";
    case new_file_outcome::exists:
        return path + " is there already. Give another name; nothing is replaced.";
    case new_file_outcome::not_created:
        return path + " can't be written. Is the folder there, and may you write in it?";
    case new_file_outcome::not_written:
        return path + " could not be written; the disk may be full. Nothing is left of it.";
    }
    return "";
}

} // namespace elvantris::operator_control
