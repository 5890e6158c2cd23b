// JPEG files, by the JPEG library.
#pragma once

#include "picture.hpp"

#include <string>
#include <string_view>

namespace elvantris::simulator {

// Baseline JFIF in colour, 4:2:0.
std::string to_jpeg(const picture& source, int quality);

// Throws picture_error, also for damage that the library could read over.
picture from_jpeg(std::string_view bytes);

} // namespace elvantris::simulator
