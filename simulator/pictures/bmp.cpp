#include "bmp.hpp"

#include <cstdlib>

namespace elvantris::simulator {

namespace {

constexpr int largest_side = 10'000;

std::size_t row_size(int width) {
    return (static_cast<std::size_t>(width) * 3 + 3) / 4 * 4;
}

void append(std::string& text, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFFU);
}

} // namespace

std::uint32_t little_endian(std::string_view bytes, std::size_t offset, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value |= std::uint32_t{static_cast<unsigned char>(bytes[offset + i])} << (8 * i);
    return value;
}

std::string to_bmp(const picture& source) {
    const std::size_t stride = row_size(source.width());
    const std::size_t pixels = stride * static_cast<std::size_t>(source.height());
    std::string text = "BM";
    append(text, static_cast<std::uint32_t>(bmp_header_size + pixels), 4);
    append(text, 0, 4);
    append(text, bmp_header_size, 4);
    append(text, 40, 4);
    append(text, static_cast<std::uint32_t>(source.width()), 4);
    append(text, static_cast<std::uint32_t>(source.height()), 4);
    append(text, 1, 2);
    append(text, 24, 2);
    append(text, 0, 4);
    append(text, static_cast<std::uint32_t>(pixels), 4);
    append(text, 2835, 4);
    append(text, 2835, 4);
    append(text, 0, 4);
    append(text, 0, 4);
    for (int y = source.height() - 1; y >= 0; --y) {
        const std::size_t start = text.size();
        for (int x = 0; x < source.width(); ++x) {
            const colour& each = source.at(x, y);
            text += static_cast<char>(each.blue);
            text += static_cast<char>(each.green);
            text += static_cast<char>(each.red);
        }
        text.resize(start + stride, '\0');
    }
    return text;
}

std::size_t announced_bmp_size(std::string_view bytes) {
    if (bytes.size() < bmp_header_size || bytes.substr(0, 2) != "BM") return 0;
    const std::size_t size = little_endian(bytes, 2, 4);
    return size < bmp_header_size ? 0 : size;
}

picture from_bmp(std::string_view bytes) {
    if (announced_bmp_size(bytes) == 0) throw picture_error("no BMP");
    if (announced_bmp_size(bytes) != bytes.size()) throw picture_error("BMP of another length");
    const std::size_t offset = little_endian(bytes, 10, 4);
    const int width = static_cast<int>(little_endian(bytes, 18, 4));
    const int height = static_cast<int>(little_endian(bytes, 22, 4));
    if (little_endian(bytes, 28, 2) != 24 || little_endian(bytes, 30, 4) != 0)
        throw picture_error("BMP that is not plain 24 bits");
    if (width < 1 || width > largest_side || height == 0 || height < -largest_side ||
        height > largest_side)
        throw picture_error("BMP without a sensible size");
    picture result(width, std::abs(height));
    const std::size_t stride = row_size(width);
    if (offset < bmp_header_size ||
        offset + stride * static_cast<std::size_t>(result.height()) > bytes.size())
        throw picture_error("BMP that ends early");
    for (int row = 0; row < result.height(); ++row) {
        const int y = height > 0 ? result.height() - 1 - row : row;
        for (int x = 0; x < width; ++x) {
            const std::size_t at =
                offset + stride * static_cast<std::size_t>(row) + static_cast<std::size_t>(x) * 3;
            result.at(x, y) = {static_cast<std::uint8_t>(bytes[at + 2]),
                               static_cast<std::uint8_t>(bytes[at + 1]),
                               static_cast<std::uint8_t>(bytes[at])};
        }
    }
    return result;
}

} // namespace elvantris::simulator
