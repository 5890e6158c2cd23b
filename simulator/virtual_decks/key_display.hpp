// What a person sees on a deck.
#pragma once

#include "deck_models.hpp"
#include "pictures/picture.hpp"

#include <string>
#include <vector>

namespace elvantris::simulator {

// The image as it came, upright as on the key. Throws picture_error if it is none that the deck
// can show.
picture shown_picture(const deck_model& model, const std::string& image);

// All keys of a deck in their places on its dark face.
picture deck_face(const deck_model& model, const std::vector<picture>& keys);

} // namespace elvantris::simulator
