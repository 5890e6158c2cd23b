// The seam to the Stream Decks on this workstation: what is attached, what a key shows, which key
// was pressed.
//
// Threads: any, for every operation. An image is written on its caller's thread, which waits for
//   the hardware; images for two decks don't wait for each other.
// Failure: a serial that is not attached, or a key that the deck doesn't have, gives false and no
//   line in the log. Nothing is retried. A deck that was slow to fail is left alone for up to
//   2 seconds: whatever is written to it gives false at once.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

struct deck_info {
    std::string serial; // the deck's identity in the whole system
    std::string pid;    // USB product id, decimal digits
    std::string device_name;
    std::string device_path; // the operating system's HID path
    std::int32_t key_count = 0;
    std::int32_t key_width = 0; // pixels
    std::int32_t key_height = 0;
    std::string image_format;        // "jpeg" or "bmp"
    std::int32_t image_rotation = 0; // degrees
};

// Called on the adapter's thread with none of its locks held; it keeps all decks' keys waiting.
using deck_key_handler =
    std::function<void(const std::string& serial, std::int32_t key, bool down)>;

class streamdeck_adapter {
public:
    streamdeck_adapter() = default;
    streamdeck_adapter(const streamdeck_adapter&) = delete;
    streamdeck_adapter& operator=(const streamdeck_adapter&) = delete;
    streamdeck_adapter(streamdeck_adapter&&) = delete;
    streamdeck_adapter& operator=(streamdeck_adapter&&) = delete;
    virtual ~streamdeck_adapter() = default;

    // True if the adapter runs, also if it did already.
    virtual bool start() = 0;
    // Leaves every deck to its own idle screen. Safe to repeat.
    virtual void stop() = 0;

    // By ascending serial; empty unless the adapter runs.
    virtual std::vector<deck_info> list_decks() = 0;

    // `image` is what the deck takes: the size, format and rotation of its `deck_info`. True if
    // it was written whole; one in a wrong format is refused and logged. So is one above 262,144
    // bytes, which is logged once for each key until the deck is attached again.
    virtual bool set_key_image(const std::string& serial, std::int32_t key,
                               std::string_view image) = 0;
    virtual bool clear_key(const std::string& serial, std::int32_t key) = 0;
    // Tries every key; true only if all worked.
    virtual bool clear_all_keys(const std::string& serial) = 0;
    virtual bool show_splash(const std::string& serial) = 0;

    // Replaces the handler, from the next look at the keys on. Until there is one, keys are not
    // read at all.
    virtual void set_key_handler(deck_key_handler handler) = 0;
};

} // namespace elvantris::operator_control
