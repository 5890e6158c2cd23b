// What goes to support, and the words about it. Pure.
#pragma once

#include "tool/answer.hpp"
#include "tool/zip_archive.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

struct bundled_file {
    std::string name; // inside the bundle
    std::string about;
    std::string bytes;
};

struct missing_part {
    std::string name;
    std::string reason;
    bool is_finding = false; // it should be there
};

struct support_bundle {
    bool payloads_masked = true;
    std::string moment;  // when it was made, in local time
    std::string version; // of the tool
    std::vector<bundled_file> files;
    std::vector<missing_part> missing;
};

inline constexpr const char* contents_name = "contents.txt";

// The text of contents.txt.
std::string contents_of(const support_bundle& bundle);

// All files as they go into the archive, the contents first.
std::vector<zip_entry> entries_of(const support_bundle& bundle);

// Says what was written to this path, and what is not in it.
tool_answer answer_bundle(const support_bundle& bundle, const std::string& path,
                          std::size_t archive_size);

} // namespace elvantris::operator_control
