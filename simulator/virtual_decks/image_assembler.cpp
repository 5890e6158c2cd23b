#include "image_assembler.hpp"

#include "pictures/bmp.hpp"

#include <algorithm>

namespace elvantris::simulator {

namespace {

constexpr std::size_t report_size = 1024;
constexpr std::size_t original_report_size = 8191;
constexpr std::size_t original_image_bytes = 7803;

void require(bool holds, const std::string& error) {
    if (!holds) throw protocol_error(error);
}

int byte_at(std::string_view report, std::size_t index) {
    return static_cast<unsigned char>(report[index]);
}

void require_zeros(std::string_view report, std::size_t from, std::size_t to) {
    const std::string_view part = report.substr(from, to - from);
    require(part.find_first_not_of('\0') == std::string_view::npos,
            "bytes " + std::to_string(from) + " to " + std::to_string(to - 1) + " must be zero");
}

void require_beginning(std::string_view report, std::size_t size, int command) {
    require(report.size() == size, "report of " + std::to_string(report.size()) +
                                       " bytes and not " + std::to_string(size));
    require(byte_at(report, 0) == 2 && byte_at(report, 1) == command,
            "no image report: begins with " + std::to_string(byte_at(report, 0)) + ", " +
                std::to_string(byte_at(report, 1)));
}

bool read_flag(std::string_view report, std::size_t index) {
    const int value = byte_at(report, index);
    require(value <= 1, "byte " + std::to_string(index) + " must be 0 or 1");
    return value == 1;
}

} // namespace

image_assembler::piece image_assembler::read_jpeg(std::string_view report) const {
    require_beginning(report, report_size, 7);
    const std::size_t size = little_endian(report, 4, 2);
    const std::size_t capacity = report_size - 8;
    piece result{.key = byte_at(report, 2),
                 .number = little_endian(report, 6, 2),
                 .last = read_flag(report, 3),
                 .bytes = {}};
    require(size >= 1 && size <= capacity && (result.last || size == capacity),
            "report with " + std::to_string(size) + " image bytes");
    require_zeros(report, 8 + size, report_size);
    result.bytes = report.substr(8, size);
    return result;
}

image_assembler::piece image_assembler::read_mini(std::string_view report) const {
    require_beginning(report, report_size, 1);
    require_zeros(report, 3, 4);
    require_zeros(report, 6, 16);
    return {.key = byte_at(report, 5) - 1,
            .number = static_cast<std::size_t>(byte_at(report, 2)),
            .last = read_flag(report, 4),
            .bytes = report.substr(16)};
}

image_assembler::piece image_assembler::read_original(std::string_view report) const {
    require_beginning(report, original_report_size, 1);
    require_zeros(report, 6, 16);
    require_zeros(report, 16 + original_image_bytes, original_report_size);
    const std::size_t number = little_endian(report, 2, 2);
    require(number == 1 || number == 2, "report number " + std::to_string(number));
    const bool last = read_flag(report, 4);
    require(last == (number == 2), "only the second report is the last");
    const int counted = byte_at(report, 5) - 1; // within its row from the right
    const int row = counted / model_.columns;
    const int key =
        counted < 0 ? counted : (row + 1) * model_.columns - 1 - counted % model_.columns;
    return {.key = key,
            .number = number - 1,
            .last = last,
            .bytes = report.substr(16, original_image_bytes)};
}

// The last report is full length; how much of it is picture stands in the picture itself.
std::string image_assembler::without_padding(std::string bytes) const {
    if (model_.layout != report_layout::mini) return bytes;
    const std::size_t size = announced_bmp_size(bytes);
    require(size > 0, "the image is no BMP");
    require(size <= bytes.size() && bytes.size() - size < report_size - 16,
            "BMP of " + std::to_string(size) + " bytes in " + std::to_string(bytes.size()));
    require_zeros(bytes, size, bytes.size());
    bytes.resize(size);
    return bytes;
}

std::optional<finished_image> image_assembler::take(std::string_view report) {
    std::optional<partial_image> image;
    image.swap(under_way_);
    piece next;
    switch (model_.layout) {
    case report_layout::jpeg:
        next = read_jpeg(report);
        break;
    case report_layout::mini:
        next = read_mini(report);
        break;
    case report_layout::original:
        next = read_original(report);
        break;
    }
    require(next.key >= 0 && next.key < model_.key_count(), "no such key");
    require(!image || next.number > 0, "the image before was left unfinished");
    if (!image) image.emplace(partial_image{.key = next.key, .reports = 0, .bytes = {}});
    require(next.key == image->key, "the reports of two images are mixed");
    require(next.number == image->reports, "report number " + std::to_string(next.number) +
                                               " in place of " + std::to_string(image->reports));
    ++image->reports;
    image->bytes += next.bytes;
    if (next.last)
        return finished_image{.key = image->key, .bytes = without_padding(std::move(image->bytes))};
    under_way_ = std::move(image);
    return std::nullopt;
}

} // namespace elvantris::simulator
