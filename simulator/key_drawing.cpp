#include "key_drawing.hpp"

#include "key_font.hpp"
#include "pictures/bmp.hpp"
#include "pictures/jpeg_writer.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

namespace elvantris::simulator {

namespace {

constexpr int glyph_pitch = glyph_width + 1;
constexpr colour white{245, 248, 252};
constexpr int jpeg_quality = 90;

// Hue in degrees, the others from 0 to 1.
colour from_hue(double hue, double saturation, double lightness) {
    const auto channel = [&](double offset) {
        const double place = std::fmod(offset + hue / 30, 12);
        const double reach = saturation * std::min(lightness, 1 - lightness);
        const double value =
            lightness - reach * std::max(-1.0, std::min({place - 3, 9 - place, 1.0}));
        return static_cast<std::uint8_t>(std::lround(value * 255));
    };
    return {channel(0), channel(8), channel(4)};
}

double hue_of(const key_content& content) {
    int sum = 7;
    for (const char each : content.server_serial)
        sum = (sum * 31 + static_cast<unsigned char>(each)) % 360;
    // Serials often differ in one letter alone.
    return (sum * 137 + (content.page - 1) * 25) % 360;
}

colour mixed(const colour& from, const colour& to, double share) {
    const auto channel = [share](std::uint8_t low, std::uint8_t high) {
        return static_cast<std::uint8_t>(std::lround(low + (high - low) * share));
    };
    return {channel(from.red, to.red), channel(from.green, to.green), channel(from.blue, to.blue)};
}

void fill(picture& target, const colour& top, const colour& bottom) {
    for (int y = 0; y < target.height(); ++y) {
        const colour shade = mixed(top, bottom, static_cast<double>(y) / target.height());
        for (int x = 0; x < target.width(); ++x)
            target.at(x, y) = shade;
    }
}

void draw_dot(picture& target, int left, int top, int size) {
    for (int y = std::max(top, 0); y < std::min(top + size, target.height()); ++y)
        for (int x = std::max(left, 0); x < std::min(left + size, target.width()); ++x)
            target.at(x, y) = white;
}

void draw_centred(picture& target, const std::string& text, int top, int scale) {
    const int width = (static_cast<int>(text.size()) * glyph_pitch - 1) * scale;
    int left = (target.width() - width) / 2;
    for (const char letter : text) {
        const glyph& rows = glyph_of(letter);
        for (int y = 0; y < glyph_height; ++y)
            for (int x = 0; x < glyph_width; ++x)
                if (rows[static_cast<std::size_t>(y)] >> (glyph_width - 1 - x) & 1)
                    draw_dot(target, left + x * scale, top + y * scale, scale);
        left += glyph_pitch * scale;
    }
}

// Words in lines that fit; a word that is too long is cut.
std::vector<std::string> in_lines(const std::string& text, std::size_t letters) {
    std::vector<std::string> lines;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        word.resize(std::min(word.size(), letters));
        if (!lines.empty() && lines.back().size() + 1 + word.size() <= letters)
            lines.back() += ' ' + word;
        else
            lines.push_back(word);
    }
    return lines;
}

} // namespace

picture draw_key(const key_content& content, int width, int height) {
    picture result(width, height);
    const double hue = hue_of(content);
    const double light = content.held ? 0.22 : 0;
    fill(result, from_hue(hue, 0.62, 0.40 + light), from_hue(hue, 0.66, 0.20 + light));
    const int scale = std::max(1, height / 36);
    const int line = (glyph_height + 2) * (height >= 110 ? 2 : 1);
    const std::size_t letters = static_cast<std::size_t>(
        std::max(1, (width - 6) / (glyph_pitch * line / (glyph_height + 2))));
    int top = height / 12;
    for (const std::string& each : in_lines(content.server_name, letters)) {
        if (top > height / 3) break;
        draw_centred(result, each, top, line / (glyph_height + 2));
        top += line;
    }
    draw_centred(result, std::to_string(content.key), height * 5 / 12, scale + 1);
    const std::string page = "PAGE " + std::to_string(content.page);
    draw_centred(result, content.turns_page ? page + " >" : page, height - height / 12 - line + 2,
                 line / (glyph_height + 2));
    return result;
}

std::string make_key_image(const key_content& content, const image_form& form) {
    // A turn by a quarter exchanges the sides.
    const bool lying = form.rotation / 90 % 2 != 0;
    const picture upright =
        draw_key(content, lying ? form.height : form.width, lying ? form.width : form.height);
    const picture turned = turned_clockwise(upright, form.rotation);
    return form.bmp ? to_bmp(turned) : to_jpeg(turned, jpeg_quality);
}

} // namespace elvantris::simulator
