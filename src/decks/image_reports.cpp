#include "decks/image_reports.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t bmp_header_size = 54;
constexpr std::size_t original_side = 72; // pixels
constexpr std::size_t pixel_bytes = 3;
constexpr std::size_t original_pixel_bytes = original_side * original_side * pixel_bytes;
constexpr std::size_t original_image_size = bmp_header_size + original_pixel_bytes;
constexpr std::size_t mini_side = 80;
constexpr std::uint32_t original_pixels_per_metre = 3780;

std::uint32_t read_little_endian(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    return value;
}

void append_little_endian(std::string& out, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        out += static_cast<char>((value >> (8 * i)) & 0xFFU);
}

// The 54 bytes before the pixels of a square image of 24 bits; the height is positive.
std::string bmp_header(std::size_t side, std::uint32_t pixels_per_metre) {
    const auto pixels = static_cast<std::uint32_t>(side * side * pixel_bytes);
    const auto side_pixels = static_cast<std::uint32_t>(side);
    std::string header = "BM";
    append_little_endian(header, bmp_header_size + pixels, 4);
    append_little_endian(header, 0, 4);
    append_little_endian(header, bmp_header_size, 4); // where the pixels begin
    append_little_endian(header, 40, 4);              // size of the rest of the header
    append_little_endian(header, side_pixels, 4);
    append_little_endian(header, side_pixels, 4);
    append_little_endian(header, 1, 2);  // planes
    append_little_endian(header, 24, 2); // bits of a pixel
    append_little_endian(header, 0, 4);  // no compression
    append_little_endian(header, pixels, 4);
    append_little_endian(header, pixels_per_metre, 4);
    append_little_endian(header, pixels_per_metre, 4);
    append_little_endian(header, 0, 4); // colours used
    append_little_endian(header, 0, 4); // important colours
    return header;
}

std::string build_black_image(std::size_t side, std::uint32_t pixels_per_metre) {
    return bmp_header(side, pixels_per_metre) + std::string(side * side * pixel_bytes, '\0');
}

// The header, `part` from `part_at` on, then zeros.
template<std::size_t size>
std::array<unsigned char, size> make_report(std::span<const unsigned char> header,
                                            std::size_t part_at, std::string_view part) {
    std::array<unsigned char, size> report{};
    std::ranges::copy(header, report.begin());
    std::ranges::copy(part, report.begin() + static_cast<std::ptrdiff_t>(part_at));
    return report;
}

unsigned char low_byte(std::size_t value) {
    return static_cast<unsigned char>(value & 0xFFU);
}

unsigned char high_byte(std::size_t value) {
    return static_cast<unsigned char>((value >> 8U) & 0xFFU);
}

bool send_jpeg_reports(std::int32_t key, std::string_view image, const report_sender& send) {
    constexpr std::size_t header_size = 8;
    constexpr std::size_t report_size = 1024;
    for (std::size_t number = 0;; ++number) {
        const std::string_view part = image.substr(0, report_size - header_size);
        image.remove_prefix(part.size());
        const bool last = image.empty();
        const std::array<unsigned char, header_size> header{0x02,
                                                            0x07,
                                                            static_cast<unsigned char>(key),
                                                            static_cast<unsigned char>(last),
                                                            low_byte(part.size()),
                                                            high_byte(part.size()),
                                                            low_byte(number),
                                                            high_byte(number)};
        if (!send(make_report<report_size>(header, header_size, part))) return false;
        if (last) return true;
    }
}

bool send_mini_reports(std::int32_t key, std::string_view image, const report_sender& send) {
    constexpr std::size_t header_size = 16;
    constexpr std::size_t report_size = 1024;
    for (std::size_t number = 0; !image.empty(); ++number) {
        const std::string_view part = image.substr(0, report_size - header_size);
        image.remove_prefix(part.size());
        const std::array<unsigned char, 6> header{0x02,
                                                  0x01,
                                                  low_byte(number),
                                                  0,
                                                  static_cast<unsigned char>(image.empty()),
                                                  static_cast<unsigned char>(key + 1)};
        if (!send(make_report<report_size>(header, header_size, part))) return false;
    }
    return true;
}

bool send_original_reports(std::int32_t key, std::string_view image, const report_sender& send) {
    constexpr std::size_t header_size = 16;
    constexpr std::size_t report_size = 8191;
    constexpr std::size_t half = original_image_size / 2;
    const std::optional<std::string> converted = convert_for_original(image);
    if (!converted) return false;
    // The deck counts from 1, from the right of each row of five.
    const auto device_key = static_cast<unsigned char>(key + 5 - 2 * (key % 5));
    for (const std::size_t number : {1U, 2U}) {
        const std::array<unsigned char, 6> header{
            0x02, 0x01, low_byte(number), 0, static_cast<unsigned char>(number == 2), device_key};
        const std::string_view part =
            std::string_view(*converted).substr((number - 1) * half, half);
        if (!send(make_report<report_size>(header, header_size, part))) return false;
    }
    return true;
}

} // namespace

bool is_image_for(deck_family family, std::string_view image) {
    switch (family) {
    case deck_family::family_jpeg:
        return image.size() >= 4 && image.starts_with("\xFF\xD8") && image.ends_with("\xFF\xD9");
    case deck_family::family_mini:
    case deck_family::family_original:
        return image.size() >= bmp_header_size && image.starts_with("BM");
    }
    return false;
}

bool send_image_reports(deck_family family, std::int32_t key, std::string_view image,
                        const report_sender& send) {
    switch (family) {
    case deck_family::family_jpeg:
        return send_jpeg_reports(key, image, send);
    case deck_family::family_mini:
        return send_mini_reports(key, image, send);
    case deck_family::family_original:
        return send_original_reports(key, image, send);
    }
    return false;
}

std::optional<std::string> convert_for_original(std::string_view bmp) {
    constexpr auto side = static_cast<std::int32_t>(original_side);
    if (!is_image_for(deck_family::family_original, bmp)) return std::nullopt;
    const std::size_t pixels_at = read_little_endian(bmp, 10, 4);
    const auto width = static_cast<std::int32_t>(read_little_endian(bmp, 18, 4));
    const auto height = static_cast<std::int32_t>(read_little_endian(bmp, 22, 4));
    const std::size_t bits = read_little_endian(bmp, 28, 2);
    const std::uint32_t compression = read_little_endian(bmp, 30, 4);
    if (width != side || (height != side && height != -side)) return std::nullopt;
    if ((bits != 24 && bits != 32) || compression != 0) return std::nullopt;
    const std::size_t stride = (bits * original_side + 31) / 32 * 4;
    if (pixels_at + original_side * stride > bmp.size()) return std::nullopt;

    std::string out = bmp_header(original_side, original_pixels_per_metre);
    out.resize(original_image_size);
    char* to = out.data() + bmp_header_size;
    for (std::size_t y = 0; y < original_side; ++y) {
        const std::size_t source_row = height < 0 ? y : original_side - 1 - y;
        const char* const row = bmp.data() + pixels_at + source_row * stride;
        for (std::size_t x = original_side; x-- > 0;)
            to = std::copy_n(row + x * (bits / 8), pixel_bytes, to);
    }
    return out;
}

const std::string& black_image(deck_family family) {
    static const std::string for_original =
        build_black_image(original_side, original_pixels_per_metre);
    static const std::string for_mini = build_black_image(mini_side, 0);
    return family == deck_family::family_original ? for_original : for_mini;
}

std::array<unsigned char, 32> clear_key_report(std::int32_t key) {
    return {0x03, 0x06, static_cast<unsigned char>(key)};
}

report_bytes reset_report(deck_family family) {
    static constexpr std::array<unsigned char, 32> jpeg{0x03, 0x02};
    static constexpr std::array<unsigned char, 32> mini{0x0B, 0x63};
    static constexpr std::array<unsigned char, 17> original{0x0B, 0x63};
    switch (family) {
    case deck_family::family_jpeg:
        return jpeg;
    case deck_family::family_mini:
        return mini;
    case deck_family::family_original:
        return original;
    }
    return {};
}

} // namespace elvantris::operator_control
