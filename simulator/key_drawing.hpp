// What a server shows on one key, drawn by itself.
#pragma once

#include "pictures/picture.hpp"

#include <string>

namespace elvantris::simulator {

struct key_content {
    std::string server_name;
    std::string server_serial; // gives the colour, so that two servers are told apart at a glance
    int page = 1;
    int key = 0;
    bool turns_page = false;
    bool held = false;
};

// How a deck takes its images.
struct image_form {
    int width = 0;
    int height = 0;
    bool bmp = false; // else JPEG
    int rotation = 0; // degrees clockwise

    bool operator==(const image_form&) const = default;
};

// Upright: the server's name, the page, and the number of the key.
picture draw_key(const key_content& content, int width, int height);

// The file for the deck.
std::string make_key_image(const key_content& content, const image_form& form);

} // namespace elvantris::simulator
