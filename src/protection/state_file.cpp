#include "protection/state_file.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <utility>

namespace elvantris::operator_control {
namespace {

// Far above the largest policy that can be posted.
constexpr std::size_t state_file_limit = 67'108'864;

} // namespace

std::string write_memory(const protection_memory& memory) {
    return json_object(write_policy(memory.policy))
        .flag("heldOnBackup", memory.heldOnBackup)
        .text("pairMain", memory.pairMain)
        .text("pairBackup", memory.pairBackup)
        .written();
}

bool read_memory(std::string_view text, protection_memory& memory, std::string& error) {
    protection_policy policy = parse_policy(text);
    if (!validate_policy(policy, error)) return false;
    memory.policy = std::move(policy);
    memory.heldOnBackup = json_read_bool(text, "heldOnBackup", false);
    memory.pairMain = json_read_string(text, "pairMain");
    memory.pairBackup = json_read_string(text, "pairBackup");
    return true;
}

std::optional<std::string> load_memory_text(const std::string& path) {
    return read_whole_file(path, state_file_limit);
}

bool save_memory(const std::string& path, const protection_memory& memory) {
    const std::string temporary = path + ".tmp";
    if (const std::string folder = parent_folder(path); !folder.empty()) create_folders(folder);
    return write_whole_file(temporary, write_memory(memory)) == write_outcome::written &&
           replace_file(temporary, path);
}

} // namespace elvantris::operator_control
