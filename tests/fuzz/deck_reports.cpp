// Three bytes choose a model, a key and how long the image is; the rest is a report from the deck
// and the beginning of an image to it.
#include "decks/image_reports.hpp"
#include "decks/key_reports.hpp"
#include "fuzz_input.hpp"

#include <string>
#include <vector>

using namespace elvantris::operator_control;

namespace {

void read_keys(const deck_model& model, std::span<const std::uint8_t> report) {
    std::vector<bool> state(static_cast<std::size_t>(model.key_count));
    std::int32_t last_key = -1;
    apply_key_report(model, report, state, [&](std::int32_t key, bool down) {
        require(key > last_key && key < model.key_count && down);
        last_key = key;
    });
    bool changed_again = false;
    apply_key_report(model, report, state, [&](std::int32_t, bool) { changed_again = true; });
    require(!changed_again);
}

void write_image(deck_family family, std::int32_t key, const std::string& image) {
    std::size_t reports = 0;
    std::size_t parts = 0; // of a JPEG
    const bool whole = send_image_reports(family, key, image, [&](report_bytes report) {
        require(report.size() == (family == deck_family::family_original ? 8191U : 1024U));
        parts += report[4] + report[5] * 256U;
        ++reports;
        return true;
    });
    if (family == deck_family::family_jpeg) require(whole && parts == image.size());
    if (family == deck_family::family_mini)
        require(whole && reports == (image.size() + 1007) / 1008);
    const auto converted = convert_for_original(image);
    require(!converted || converted->size() == 15'606);
    if (family == deck_family::family_original)
        require(whole == converted.has_value() && reports == (whole ? 2U : 0U));
    if (converted) require(is_image_for(deck_family::family_original, image));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t header_size = 3;
    constexpr std::size_t length_step = 97; // the longest image has room for any BMP of a key
    if (size < header_size) return 0;
    const auto models = deck_models();
    const deck_model& model = models[bytes[0] % models.size()];
    const std::int32_t key = bytes[1] % model.key_count;
    const std::span rest(bytes + header_size, size - header_size);
    std::string image(rest.begin(), rest.end());
    image.resize(image.size() + bytes[2] * length_step);
    read_keys(model, rest);
    write_image(model.family, key, image);
    return 0;
}
