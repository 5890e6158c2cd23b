#pragma once

#include <atomic>
#include <filesystem>
#include <random>
#include <string>

#include "os/file_paths.hpp"

namespace elvantris::operator_control {

// A fresh, empty folder that goes with its content.
class temporary_folder {
public:
    temporary_folder() {
        static std::atomic<int> count{0};
        // Several runs of the tests may begin in the same moment.
        const unsigned stamp = std::random_device{}();
        folder_ = std::filesystem::temp_directory_path() /
                  ("elvantris_" + std::to_string(stamp) + '_' + std::to_string(++count));
        std::filesystem::create_directories(folder_);
    }
    ~temporary_folder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;
    temporary_folder(temporary_folder&&) = delete;
    temporary_folder& operator=(temporary_folder&&) = delete;

    std::string path() const { return folder_.string(); }
    std::string file(const std::string& name) const { return path_inside(path(), name); }

private:
    std::filesystem::path folder_;
};

} // namespace elvantris::operator_control
