// JPEG files, written by a library that is one header, as no JPEG library comes for Windows.
#pragma once

#include "picture.hpp"

#include <string>

namespace elvantris::simulator {

// Baseline JFIF in colour, 4:2:0 up to a quality of 90.
std::string to_jpeg(const picture& source, int quality);

} // namespace elvantris::simulator
