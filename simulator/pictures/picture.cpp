#include "picture.hpp"

#include <algorithm>

namespace elvantris::simulator {

namespace {

picture turned_once(const picture& source) {
    picture result(source.height(), source.width());
    for (int y = 0; y < source.height(); ++y)
        for (int x = 0; x < source.width(); ++x)
            result.at(source.height() - 1 - y, x) = source.at(x, y);
    return result;
}

} // namespace

picture::picture(int width, int height)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

picture turned_clockwise(const picture& source, int degrees) {
    picture result = source;
    for (int quarters = ((degrees / 90) % 4 + 4) % 4; quarters > 0; --quarters)
        result = turned_once(result);
    return result;
}

picture mirrored(const picture& source) {
    picture result(source.width(), source.height());
    for (int y = 0; y < source.height(); ++y)
        for (int x = 0; x < source.width(); ++x)
            result.at(source.width() - 1 - x, y) = source.at(x, y);
    return result;
}

int brightest(const picture& source) {
    int result = 0;
    for (int y = 0; y < source.height(); ++y)
        for (int x = 0; x < source.width(); ++x) {
            const colour& each = source.at(x, y);
            result = std::max({result, int{each.red}, int{each.green}, int{each.blue}});
        }
    return result;
}

} // namespace elvantris::simulator
