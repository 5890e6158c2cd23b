// JPEG files read by the JPEG library.
#pragma once

#include "picture.hpp"

#include <string_view>

namespace elvantris::simulator {

// Throws picture_error, also for damage that the library could read over.
picture from_jpeg(std::string_view bytes);

} // namespace elvantris::simulator
