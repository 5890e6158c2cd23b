#include "deck_bus.hpp"

#include "received_bytes.hpp"
#include "text.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>
#include <utility>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

constexpr std::size_t most_errors = 1'000;

// Whether this time is one of the failing ones, which it then uses up.
bool fails_now(std::int64_t& failing) {
    if (failing > 0) {
        --failing;
        return true;
    }
    return failing < 0;
}

} // namespace

std::vector<device_identity> deck_bus::enumerate(std::uint16_t vendor_id,
                                                 std::uint16_t product_id) {
    const std::lock_guard lock(mutex_);
    std::vector<device_identity> result;
    if (enumeration_fails_) return result;
    for (const deck_pointer& each : decks_) {
        const device_identity& identity = each->identity();
        if ((vendor_id == 0 || identity.vendor_id == vendor_id) &&
            (product_id == 0 || identity.product_id == product_id))
            result.push_back(identity);
    }
    return result;
}

hid_device_* deck_bus::open(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const deck_pointer deck = find(path);
    if (!deck) return nullptr;
    if (deck->faults.held_open) {
        log(*deck, "open", "held by somebody else", {});
        return nullptr;
    }
    log(*deck, "open", "ok", {});
    ++deck->open_handles;
    auto handle = std::make_unique<hid_device_>(hid_device_{.deck = deck});
    hid_device_* key = handle.get();
    handles_.emplace(key, std::move(handle));
    return key;
}

void deck_bus::close(hid_device_* handle) {
    const std::lock_guard lock(mutex_);
    const auto found = handles_.find(handle);
    if (found == handles_.end() || !handle->open) {
        note_error("hid_close of a handle that is not open");
        return;
    }
    handle->open = false;
    --handle->deck->open_handles;
    log(*handle->deck, "close", "ok", {});
}

bool deck_bus::is_open(hid_device_* handle, const char* call) {
    const std::lock_guard lock(mutex_);
    return reached(handle, call) != nullptr;
}

std::optional<std::wstring> deck_bus::serial(hid_device_* handle) {
    const std::lock_guard lock(mutex_);
    const virtual_deck* deck = reached(handle, "hid_get_serial_number_string");
    return deck != nullptr && deck->present() ? deck->identity().serial_when_open : std::nullopt;
}

template<class take>
int deck_bus::send(hid_device_* handle, const char* act, std::string_view report,
                   std::int64_t device_faults::*failing, take take_report) {
    const std::lock_guard lock(mutex_);
    virtual_deck* deck = reached(handle, act);
    if (deck == nullptr) return -1;
    if (!deck->present()) {
        log(*deck, act, "gone", report);
        return -1;
    }
    if (fails_now(deck->faults.*failing)) {
        deck->abandon_image();
        log(*deck, act, "failed", report);
        return -1;
    }
    std::string result = "ok";
    try {
        take_report(*deck);
    } catch (const protocol_error& error) {
        result = error.what();
        note_error(deck->identity().path + " " + act + ": " + result);
    }
    log(*deck, act, result, report);
    return static_cast<int>(report.size());
}

int deck_bus::write(hid_device_* handle, std::string_view report) {
    std::int64_t microseconds = 0;
    {
        const std::lock_guard lock(mutex_);
        const virtual_deck* deck = reached(handle, "hid_write");
        if (deck == nullptr) return -1;
        microseconds = deck->faults.write_microseconds;
    }
    if (microseconds > 0) std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
    return send(handle, "write", report, &device_faults::failing_writes,
                [&](virtual_deck& deck) { deck.take_output(report); });
}

int deck_bus::send_feature(hid_device_* handle, std::string_view report) {
    return send(handle, "feature", report, &device_faults::failing_features,
                [&](virtual_deck& deck) { deck.take_feature(report); });
}

int deck_bus::read(hid_device_* handle, unsigned char* buffer, std::size_t size,
                   std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    virtual_deck* deck = reached(handle, "hid_read_timeout");
    if (deck == nullptr) return -1;
    const deck_pointer kept = handle->deck; // the wait lets go of the lock
    std::optional<std::string> report;
    const auto settled = [&] {
        if (!deck->present() || !handle->open || deck->faults.failing_reads != 0) return true;
        report = deck->next_input();
        return report.has_value();
    };
    if (limit.count() < 0)
        input_came_.wait(lock, settled);
    else if (limit.count() > 0)
        input_came_.wait_for(lock, limit, settled);
    else
        settled();
    if (report) {
        const std::size_t count = std::min(size, report->size());
        std::copy_n(report->begin(), count, buffer);
        log(*deck, "input", "ok", *report);
        return static_cast<int>(count);
    }
    if (!deck->present() || !handle->open) return -1;
    return fails_now(deck->faults.failing_reads) ? -1 : 0;
}

void deck_bus::note_call(const char* name) {
    const std::lock_guard lock(mutex_);
    ++calls_[name];
}

void deck_bus::note_exit() {
    const std::lock_guard lock(mutex_);
    for (const auto& [handle, owned] : handles_)
        if (handle->open)
            note_error("hid_exit with an open device: " + handle->deck->identity().path);
}

void deck_bus::plug(const ordered_json& request) {
    const std::lock_guard lock(mutex_);
    const std::string path = "/dev/hidraw" + std::to_string(plugged_so_far_);
    auto deck = std::make_shared<virtual_deck>(read_identity(request, path));
    if (find(deck->identity().path)) throw control_error("plugged in already");
    deck->faults.held_open = request.value("heldOpen", false);
    ++plugged_so_far_;
    decks_.push_back(std::move(deck));
}

void deck_bus::pull(const ordered_json& request) {
    const std::lock_guard lock(mutex_);
    const deck_pointer deck = find_for(request);
    deck->pull();
    std::erase(decks_, deck);
    input_came_.notify_all();
}

void deck_bus::hold_keys(const ordered_json& request, bool down) {
    const std::lock_guard lock(mutex_);
    find_for(request)->hold_keys(request.value("keys", std::vector<int>{}), down);
    input_came_.notify_all();
}

void deck_bus::input(const ordered_json& request) {
    const std::lock_guard lock(mutex_);
    const std::optional<std::string> bytes = from_hex(request.value("bytes", ""));
    if (!bytes || bytes->empty()) throw control_error("bytes must be hexadecimal");
    find_for(request)->queue_input(*bytes);
    input_came_.notify_all();
}

void deck_bus::set_faults(const ordered_json& request) {
    const std::lock_guard lock(mutex_);
    enumeration_fails_ = request.value("enumerationFails", enumeration_fails_);
    if (!request.contains("path")) return;
    device_faults& faults = find_for(request)->faults;
    faults.held_open = request.value("heldOpen", faults.held_open);
    faults.failing_writes = request.value("failWrites", faults.failing_writes);
    faults.failing_features = request.value("failFeatures", faults.failing_features);
    faults.failing_reads = request.value("failReads", faults.failing_reads);
    faults.write_microseconds = request.value("writeUs", faults.write_microseconds);
    input_came_.notify_all();
}

void deck_bus::forget() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
    errors_.clear();
    log_.clear();
}

ordered_json deck_bus::report(bool decode) const {
    ordered_json result;
    std::vector<virtual_deck> copies;
    {
        const std::lock_guard lock(mutex_);
        result = {{"calls", calls_}, {"errors", errors_}};
        for (const deck_pointer& each : decks_)
            copies.push_back(*each);
    }
    result["decks"] = ordered_json::array();
    for (const virtual_deck& each : copies)
        result["decks"].push_back(each.report(decode));
    return result;
}

ordered_json deck_bus::reports(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    return log_.to_json(path);
}

virtual_deck deck_bus::deck(const std::string& path) const {
    const std::lock_guard lock(mutex_);
    const deck_pointer deck = find(path);
    if (!deck) throw control_error("no such deck: " + path);
    return *deck;
}

deck_bus::deck_pointer deck_bus::find(const std::string& path) const {
    const auto found = std::find_if(decks_.begin(), decks_.end(), [&](const deck_pointer& each) {
        return each->identity().path == path;
    });
    return found == decks_.end() ? nullptr : *found;
}

deck_bus::deck_pointer deck_bus::find_for(const ordered_json& request) const {
    const std::string path = request.value("path", "");
    deck_pointer deck = find(path);
    if (!deck) throw control_error("no such deck: " + path);
    return deck;
}

virtual_deck* deck_bus::reached(hid_device_* handle, const char* call) {
    const auto found = handles_.find(handle);
    if (found != handles_.end() && handle->open) return handle->deck.get();
    note_error(std::string(call) + " on a handle that is not open");
    return nullptr;
}

void deck_bus::note_error(const std::string& error) {
    if (errors_.size() < most_errors) errors_.push_back(error);
}

void deck_bus::log(const virtual_deck& deck, const char* act, std::string result,
                   std::string_view bytes) {
    log_.add({.time_microseconds = wall_clock_microseconds(),
              .path = deck.identity().path,
              .act = act,
              .result = std::move(result),
              .bytes = std::string(bytes)});
}

} // namespace elvantris::simulator
