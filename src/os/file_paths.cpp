#include "os/file_paths.hpp"

#include <exception>
#include <filesystem>
#include <system_error>

namespace elvantris::operator_control {
namespace {

namespace fs = std::filesystem;

fs::path path_of(const std::string& text) {
    return {std::u8string(text.begin(), text.end())};
}

std::string text_of(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// The file library may still throw for a path that can't be converted or when memory is short.
template<typename operation>
bool succeeds(operation&& run) {
    try {
        return run();
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

std::string parent_folder(const std::string& path) {
    try {
        return text_of(path_of(path).parent_path());
    } catch (const std::exception&) {
        return {};
    }
}

std::string current_folder() {
    try {
        return text_of(fs::current_path());
    } catch (const std::exception&) {
        return ".";
    }
}

std::string path_inside(const std::string& folder, const std::string& name) {
    if (folder.empty()) return name;
    try {
        return text_of((path_of(folder) / path_of(name)).make_preferred());
    } catch (const std::exception&) {
        return folder + '/' + name;
    }
}

bool create_folders(const std::string& folder) {
    return succeeds([&] {
        std::error_code error;
        fs::create_directories(path_of(folder), error);
        return fs::is_directory(path_of(folder), error);
    });
}

bool path_exists(const std::string& path) {
    return succeeds([&] {
        std::error_code error;
        return fs::exists(path_of(path), error);
    });
}

bool is_same_file(const std::string& path, const std::string& other) {
    return succeeds([&] {
        std::error_code error;
        return fs::equivalent(path_of(path), path_of(other), error);
    });
}

std::optional<std::uint64_t> free_bytes(const std::string& folder) {
    std::uint64_t bytes = 0;
    const bool known = succeeds([&] {
        std::error_code error;
        bytes = fs::space(path_of(folder), error).available;
        return !error;
    });
    return known ? std::optional(bytes) : std::nullopt;
}

bool copy_file_over(const std::string& from, const std::string& to) {
    return succeeds([&] {
        // The MinGW library refuses to copy over an existing file.
        std::error_code error;
        if (fs::is_regular_file(path_of(from), error)) fs::remove(path_of(to), error);
        return fs::copy_file(path_of(from), path_of(to), error);
    });
}

void remove_file(const std::string& path) {
    succeeds([&] {
        std::error_code error;
        return fs::remove(path_of(path), error);
    });
}

} // namespace elvantris::operator_control
