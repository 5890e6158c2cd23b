#pragma once

#include <cstdint>
#include <span>

namespace elvantris::operator_control {

// The image of one key, ready to be sent to a deck: a whole JPEG or BMP file, turned as the decks
// of its set want it. `data` points into the program itself.
struct splash_tile {
    const unsigned char* data;
    std::uint64_t size;
};

// One tile for each key, in key order.
using splash_set = std::span<const splash_tile>;

// The pictures of src/decks/splash, embedded by the build. They are constants, so they may be used
// from any thread and during static initialisation.
extern const splash_set splash_15_jpeg;
extern const splash_set splash_32_jpeg;
extern const splash_set splash_6_bmp;
extern const splash_set splash_8_jpeg_120;
extern const splash_set splash_8_jpeg_96;
extern const splash_set splash_15_original;

} // namespace elvantris::operator_control
