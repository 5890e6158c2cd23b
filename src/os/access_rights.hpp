// What this user may do with a folder or a device.
//
// Threads: any. Failure: a value.
#pragma once

#include <string>

namespace elvantris::operator_control {

enum class folder_access { writable, missing, refused };

// Makes a file there that has no name, or that the system removes itself: none is left behind,
// even if the process is killed meanwhile.
folder_access try_folder(const std::string& folder);

enum class device_access {
    usable,
    refused, // this user has no right to it
    held,    // by a program that lets no other in
    gone,
};

// Whether it could be read and written. It is neither.
device_access try_device(const std::string& path);

} // namespace elvantris::operator_control
