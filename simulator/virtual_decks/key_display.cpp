#include "key_display.hpp"

#include "pictures/bmp.hpp"
#include "pictures/jpeg_reader.hpp"

namespace elvantris::simulator {

namespace {

constexpr colour face{24, 26, 30};
constexpr int gap = 14;

// The device reads its rows from the top and from the right, though the header says otherwise.
picture from_original(const std::string& image) {
    const std::string header = to_bmp(picture(72, 72)).substr(0, bmp_header_size);
    std::string expected = header;
    for (const std::size_t resolution : {38U, 42U})
        expected.replace(resolution, 4, std::string("\xC4\x0E\0\0", 4));
    if (image.substr(0, bmp_header_size) != expected) throw picture_error("another BMP header");
    picture upside_down = from_bmp(image);
    picture result(upside_down.width(), upside_down.height());
    for (int y = 0; y < result.height(); ++y)
        for (int x = 0; x < result.width(); ++x)
            result.at(x, y) = upside_down.at(x, result.height() - 1 - y);
    return mirrored(result);
}

picture decoded(const deck_model& model, const std::string& image) {
    switch (model.layout) {
    case report_layout::jpeg:
        return from_jpeg(image);
    case report_layout::mini:
        return from_bmp(image);
    case report_layout::original:
        return from_original(image);
    }
    throw picture_error("no such layout");
}

} // namespace

picture shown_picture(const deck_model& model, const std::string& image) {
    picture result = turned_clockwise(decoded(model, image), model.image_turn);
    if (result.width() != model.key_side || result.height() != model.key_side)
        throw picture_error("picture of " + std::to_string(result.width()) + " by " +
                            std::to_string(result.height()) + " pixels");
    return result;
}

picture deck_face(const deck_model& model, const std::vector<picture>& keys) {
    const int pitch = model.key_side + gap;
    picture result(model.columns * pitch + gap, model.rows * pitch + gap);
    for (int y = 0; y < result.height(); ++y)
        for (int x = 0; x < result.width(); ++x)
            result.at(x, y) = face;
    for (int key = 0; key < model.key_count(); ++key) {
        const picture& shown = keys[static_cast<std::size_t>(key)];
        const int left = gap + key % model.columns * pitch;
        const int top = gap + key / model.columns * pitch;
        for (int y = 0; y < shown.height(); ++y)
            for (int x = 0; x < shown.width(); ++x)
                result.at(left + x, top + y) = shown.at(x, y);
    }
    return result;
}

} // namespace elvantris::simulator
