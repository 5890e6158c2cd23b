// Questions and changes that concern a path rather than a file's content. Paths are UTF-8.
// Failure: what can't be determined or done counts as absent or not done; never an exception.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace elvantris::operator_control {

// The path without its last part; empty if it has no folder.
std::string parent_folder(const std::string& path);

// Where relative paths begin; "." if the system won't say.
std::string current_folder();

// `name` inside `folder`, with the system's own separator; `name` alone if `folder` is empty.
std::string path_inside(const std::string& folder, const std::string& name);

// The folder and all its parents. True if it exists afterwards.
bool create_folders(const std::string& folder);

// Whether anything, a file or a folder, is there.
bool path_exists(const std::string& path);

// Whether both lead to one and the same thing, which is there.
bool is_same_file(const std::string& path, const std::string& other);

// What this user may still write on the disk of this folder.
std::optional<std::uint64_t> free_bytes(const std::string& folder);

bool copy_file_over(const std::string& from, const std::string& to);

void remove_file(const std::string& path);

} // namespace elvantris::operator_control
