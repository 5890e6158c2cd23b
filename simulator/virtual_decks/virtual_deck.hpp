// One device on the bus, from its plugging to its pulling.
//
// Threads: none of its own; the bus guards it.
#pragma once

#include "deck_models.hpp"
#include "image_assembler.hpp"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::simulator {

// A request of the control was wrong; the text says what.
struct control_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// How the device announces itself. An absent string is a null pointer in the enumeration.
struct device_identity {
    std::uint16_t vendor_id = deck_vendor_id;
    std::uint16_t product_id = 0;
    std::string path;
    std::optional<std::wstring> product;
    std::optional<std::wstring> serial;
    std::optional<std::wstring> serial_when_open; // absent: asking the open device fails
};

// What goes wrong with it. A count is used up; -1 means always.
struct device_faults {
    bool held_open = false; // by somebody else: opening fails
    std::int64_t failing_writes = 0;
    std::int64_t failing_features = 0;
    std::int64_t failing_reads = 0;
    std::int64_t write_microseconds = 0; // what one report takes
};

struct shown_key {
    std::string image; // as it came; empty: dark
    std::int64_t images = 0;
    std::int64_t clears = 0;
    std::int64_t painted_microseconds = 0; // wall clock of the last image or clearing
};

class virtual_deck {
public:
    explicit virtual_deck(device_identity identity);

    const device_identity& identity() const noexcept { return identity_; }
    const deck_model* model() const noexcept { return model_; }
    bool present() const noexcept { return present_; }
    void pull() { present_ = false; }

    device_faults faults;
    int open_handles = 0;

    // Both throw protocol_error.
    void take_output(std::string_view report);
    void take_feature(std::string_view report);
    void abandon_image();

    // The next input report; nothing if none waits.
    std::optional<std::string> next_input();
    void queue_input(std::string report);
    // Throws control_error.
    void hold_keys(const std::vector<int>& keys, bool down);

    const std::vector<shown_key>& keys() const noexcept { return keys_; }
    // Decoding tells of each picture how bright it is, or why it is none; it takes its time.
    nlohmann::ordered_json report(bool decode) const;

private:
    void darken();
    std::string key_report() const;

    device_identity identity_;
    const deck_model* model_; // null for a product that is no known deck
    std::optional<image_assembler> assembler_;
    std::vector<shown_key> keys_;
    std::vector<bool> held_;
    std::deque<std::string> input_;
    bool present_ = true;
    std::int64_t resets_ = 0;
};

// Throws control_error. `path` is for a request that names none.
device_identity read_identity(const nlohmann::ordered_json& request, const std::string& path);

} // namespace elvantris::simulator
