// Writing a file that the operator named, whole or not at all.
//
// It is written beside its place under another name, which nothing has, and then given its own.
// Threads: any. Failure: a value; nothing is left then.
#pragma once

#include <string>
#include <string_view>

namespace elvantris::operator_control {

enum class new_file_outcome {
    written,
    exists,      // something has the name already, and stays
    not_created, // no such folder, or no right to write there
    not_written, // the disk is full, most likely
};

new_file_outcome write_new_file(const std::string& path, std::string_view bytes);

// What is said of an outcome other than `written`.
std::string new_file_sentence(new_file_outcome outcome, const std::string& path);

} // namespace elvantris::operator_control
