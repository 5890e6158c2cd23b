#include "decks/splash.hpp"

namespace elvantris::operator_control {
namespace {

// The grid, form and turn that a set was cut for.
bool is_cut_for(const deck_model& model, std::int32_t key_count, std::int32_t side,
                std::string_view format, std::int32_t rotation) {
    return model.key_count == key_count && model.key_width == side && model.key_height == side &&
           model.image_format == format && model.image_rotation == rotation;
}

} // namespace

splash_set splash_for(const deck_model& model) {
    if (model.family == deck_family::family_original) return splash_15_original;
    if (is_cut_for(model, 15, 72, "jpeg", 180)) return splash_15_jpeg;
    if (is_cut_for(model, 32, 96, "jpeg", 180)) return splash_32_jpeg;
    if (is_cut_for(model, 6, 80, "bmp", 90)) return splash_6_bmp;
    if (is_cut_for(model, 8, 120, "jpeg", 0)) return splash_8_jpeg_120;
    if (is_cut_for(model, 8, 96, "jpeg", 180)) return splash_8_jpeg_96;
    return {};
}

} // namespace elvantris::operator_control
