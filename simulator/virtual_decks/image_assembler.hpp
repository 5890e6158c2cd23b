// Image reports put together again, as the device does it.
//
// Strict: whatever a device might overlook is an error here.
#pragma once

#include "deck_models.hpp"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace elvantris::simulator {

// What came breaks the deck's protocol; the text says how.
struct protocol_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct finished_image {
    int key = 0;
    std::string bytes; // without the padding of the last report
};

class image_assembler {
public:
    explicit image_assembler(const deck_model& model) : model_(model) {}

    // One output report, report number included. Gives the image that it completes, if any.
    // Throws protocol_error, and then has forgotten the image that was under way.
    std::optional<finished_image> take(std::string_view report);

    // The image under way will not be finished.
    void abandon() { under_way_.reset(); }

private:
    struct partial_image {
        int key = 0;
        std::size_t reports = 0;
        std::string bytes;
    };

    // The fields of one report, whatever its layout.
    struct piece {
        int key = 0;
        std::size_t number = 0; // from 0
        bool last = false;
        std::string_view bytes;
    };

    piece read_jpeg(std::string_view report) const;
    piece read_mini(std::string_view report) const;
    piece read_original(std::string_view report) const;
    std::string without_padding(std::string bytes) const;

    const deck_model& model_;
    std::optional<partial_image> under_way_;
};

} // namespace elvantris::simulator
