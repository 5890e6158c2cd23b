// A picture in memory, and the turns that lie between a drawing and the glass of a key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace elvantris::simulator {

struct colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const colour&) const = default;
};

// Bytes are no picture of the form that was asked for; the text says why.
struct picture_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class picture {
public:
    // Black.
    picture(int width, int height);

    int width() const noexcept { return width_; }
    int height() const noexcept { return height_; }
    colour& at(int x, int y) { return pixels_[index(x, y)]; }
    const colour& at(int x, int y) const { return pixels_[index(x, y)]; }

    bool operator==(const picture&) const = default;

private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
               static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<colour> pixels_;
};

// By a multiple of 90 degrees; a negative number turns the other way.
picture turned_clockwise(const picture& source, int degrees);

// Left and right exchanged.
picture mirrored(const picture& source);

// The largest value of any channel: 0 for a plain black picture.
int brightest(const picture& source);

} // namespace elvantris::simulator
