#include "virtual_deck.hpp"

#include "key_display.hpp"
#include "received_bytes.hpp"
#include "text.hpp"

#include <nlohmann/json.hpp>

#include <utility>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

// What the system keeps for a reader who does not come.
constexpr std::size_t most_waiting_inputs = 64;

std::optional<std::wstring> read_string(const ordered_json& request, const char* key,
                                        std::optional<std::wstring> fallback) {
    const auto found = request.find(key);
    if (found == request.end()) return fallback;
    if (found->is_null()) return std::nullopt;
    if (!found->is_string()) throw control_error(std::string(key) + " must be a text or null");
    return to_wide(found->get<std::string>());
}

std::uint16_t read_id(const ordered_json& request, const char* key, std::uint16_t fallback) {
    const auto found = request.find(key);
    if (found == request.end()) return fallback;
    if (!found->is_number_integer() || *found < 0 || *found > 0xFFFF)
        throw control_error(std::string(key) + " must be from 0 to 65535");
    return found->get<std::uint16_t>();
}

ordered_json key_json(const deck_model& model, const shown_key& key, bool decode) {
    ordered_json result{{"bytes", key.image.size()},
                        {"images", key.images},
                        {"clears", key.clears},
                        {"paintedUs", key.painted_microseconds}};
    if (!decode) return result;
    try {
        result["brightest"] = key.image.empty() ? 0 : brightest(shown_picture(model, key.image));
    } catch (const picture_error& error) {
        result["error"] = error.what();
    }
    return result;
}

std::string with_zeros(std::string beginning, std::size_t size) {
    beginning.resize(size, '\0');
    return beginning;
}

} // namespace

device_identity read_identity(const ordered_json& request, const std::string& path) {
    device_identity result;
    result.vendor_id = read_id(request, "vendorId", deck_vendor_id);
    result.product_id = read_id(request, "productId", 0);
    result.path = request.value("path", path);
    const deck_model* model = find_deck_model(result.product_id);
    result.product = read_string(request, "product", to_wide(model ? model->name : "Other"));
    result.serial = read_string(request, "serial", std::nullopt);
    result.serial_when_open = read_string(request, "serialWhenOpen", result.serial);
    return result;
}

virtual_deck::virtual_deck(device_identity identity)
    : identity_(std::move(identity)), model_(find_deck_model(identity_.product_id)) {
    if (model_ == nullptr) return;
    assembler_.emplace(*model_);
    keys_.resize(static_cast<std::size_t>(model_->key_count()));
    held_.resize(keys_.size());
}

void virtual_deck::take_output(std::string_view report) {
    if (!assembler_) throw protocol_error("a report to a device that is no deck");
    const std::optional<finished_image> image = assembler_->take(report);
    if (!image) return;
    shown_key& key = keys_[static_cast<std::size_t>(image->key)];
    key.image = image->bytes;
    key.painted_microseconds = wall_clock_microseconds();
    ++key.images;
}

void virtual_deck::take_feature(std::string_view report) {
    if (model_ == nullptr) throw protocol_error("a report to a device that is no deck");
    const bool jpeg = model_->layout == report_layout::jpeg;
    const std::size_t size = model_->layout == report_layout::original ? 17 : 32;
    const std::string reset = with_zeros(jpeg ? "\x03\x02" : "\x0B\x63", size);
    if (report == reset) {
        ++resets_;
        darken();
        return;
    }
    const int key = report.size() > 2 ? static_cast<unsigned char>(report[2]) : -1;
    if (!jpeg || report.size() != size || report.substr(0, 2) != "\x03\x06" ||
        report.find_first_not_of('\0', 3) != std::string_view::npos)
        throw protocol_error("unknown feature report");
    if (key >= model_->key_count()) throw protocol_error("no such key");
    shown_key& cleared = keys_[static_cast<std::size_t>(key)];
    cleared.image.clear();
    cleared.painted_microseconds = wall_clock_microseconds();
    ++cleared.clears;
}

void virtual_deck::abandon_image() {
    if (assembler_) assembler_->abandon();
}

void virtual_deck::darken() {
    abandon_image();
    for (shown_key& each : keys_)
        each.image.clear();
}

std::optional<std::string> virtual_deck::next_input() {
    if (input_.empty()) return std::nullopt;
    std::string report = std::move(input_.front());
    input_.pop_front();
    return report;
}

void virtual_deck::queue_input(std::string report) {
    if (input_.size() < most_waiting_inputs) input_.push_back(std::move(report));
}

void virtual_deck::hold_keys(const std::vector<int>& keys, bool down) {
    if (model_ == nullptr) throw control_error("the device has no keys");
    for (const int key : keys)
        if (key < 0 || key >= model_->key_count())
            throw control_error("no such key: " + std::to_string(key));
    for (const int key : keys)
        held_[static_cast<std::size_t>(key)] = down;
    queue_input(key_report());
}

std::string virtual_deck::key_report() const {
    const bool jpeg = model_->layout == report_layout::jpeg;
    std::string report(jpeg ? 512 : 17, '\0');
    report[0] = 1;
    if (jpeg) report[2] = static_cast<char>(model_->key_count());
    const std::size_t first = jpeg ? 4 : 1;
    const auto columns = static_cast<std::size_t>(model_->columns);
    for (std::size_t key = 0; key < held_.size(); ++key) {
        if (!held_[key]) continue;
        std::size_t place = key;
        if (model_->layout == report_layout::original)
            place = key - key % columns + (columns - 1 - key % columns);
        report[first + place] = 1;
    }
    return report;
}

ordered_json virtual_deck::report(bool decode) const {
    ordered_json result{{"path", identity_.path},
                        {"productId", identity_.product_id},
                        {"model", model_ ? ordered_json(model_->name) : ordered_json()},
                        {"columns", model_ ? model_->columns : 0},
                        {"rows", model_ ? model_->rows : 0},
                        {"open", open_handles > 0},
                        {"resets", resets_},
                        {"waitingInputs", input_.size()},
                        {"held", ordered_json::array()},
                        {"keys", ordered_json::array()}};
    for (std::size_t key = 0; key < keys_.size(); ++key) {
        if (held_[key]) result["held"].push_back(key);
        result["keys"].push_back(key_json(*model_, keys_[key], decode));
    }
    return result;
}

} // namespace elvantris::simulator
