// Uncompressed BMP files of 24 bits.
#pragma once

#include "picture.hpp"

#include <string>
#include <string_view>

namespace elvantris::simulator {

constexpr std::size_t bmp_header_size = 54;

// Bottom-up, with 54 bytes of header.
std::string to_bmp(const picture& source);

// The length that the file's header announces, which is at least that of the header; 0 if these
// are not the first bytes of a BMP.
std::size_t announced_bmp_size(std::string_view bytes);

// Throws picture_error unless the whole text is one file. Both row orders are read.
picture from_bmp(std::string_view bytes);

// A little-endian number of `count` bytes, which must be there.
std::uint32_t little_endian(std::string_view bytes, std::size_t offset, std::size_t count);

} // namespace elvantris::simulator
