// Letters of five by seven dots. Small letters are shown as capitals.
#pragma once

#include <array>
#include <cstdint>

namespace elvantris::simulator {

constexpr int glyph_width = 5;
constexpr int glyph_height = 7;

// One row of dots each, the leftmost in the highest of the five bits.
using glyph = std::array<std::uint8_t, glyph_height>;

// A letter without a glyph is shown as a box.
const glyph& glyph_of(char letter);

} // namespace elvantris::simulator
