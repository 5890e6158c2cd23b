// What is written to a deck, as bytes: a key's image cut into reports, an empty key, the reset.
//
// Pure; the reports go to a sender that the caller brings.
// Threads: any; nothing is kept between calls but the two black images, which are built once.
#pragma once

#include "decks/deck_models.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

using report_bytes = std::span<const unsigned char>;

// False if the report could not be sent.
using report_sender = std::function<bool(report_bytes report)>;

// Whether the bytes look like an image in the family's format. Nothing is decoded.
bool is_image_for(deck_family family, std::string_view image);

// Sends all reports of one image in order. The first that fails ends it with false; what was sent
// stays sent. An image that the Original can't show gives false before anything is sent.
bool send_image_reports(deck_family family, std::int32_t key, std::string_view image,
                        const report_sender& send);

// The Original's own layout, 15,606 bytes, from any 72 by 72 BMP of 24 or 32 bits without
// compression: top row first, each row mirrored. Absent for anything else.
std::optional<std::string> convert_for_original(std::string_view bmp);

// The image of an empty key, for the families whose decks have no command for it.
const std::string& black_image(deck_family family);

// The feature report that empties a key; only for `family_jpeg`.
std::array<unsigned char, 32> clear_key_report(std::int32_t key);

// The feature report that returns a deck to its own idle screen.
report_bytes reset_report(deck_family family);

} // namespace elvantris::operator_control
