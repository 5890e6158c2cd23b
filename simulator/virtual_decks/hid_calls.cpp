// The calls of the HID library that a program for the decks makes, on the virtual bus.
#include "deck_control.hpp"

#include <hidapi.h>

#include <algorithm>
#include <cwchar>
#include <string>

#define VIRTUAL_DECKS_CALL __attribute__((visibility("default")))

namespace {

using elvantris::simulator::deck_control;
using elvantris::simulator::device_identity;

// Never destroyed: the program's threads may outlive the static objects.
deck_control& control() {
    static auto* const result = new deck_control;
    return *result;
}

auto& bus() {
    return control().bus();
}

std::string_view text_of(const unsigned char* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

wchar_t* new_string(const std::optional<std::wstring>& text) {
    if (!text) return nullptr;
    auto* copy = new wchar_t[text->size() + 1];
    std::copy_n(text->c_str(), text->size() + 1, copy);
    return copy;
}

hid_device_info* new_entry(const device_identity& identity) {
    auto* entry = new hid_device_info{};
    entry->path = new char[identity.path.size() + 1];
    std::copy_n(identity.path.c_str(), identity.path.size() + 1, entry->path);
    entry->vendor_id = identity.vendor_id;
    entry->product_id = identity.product_id;
    entry->serial_number = new_string(identity.serial);
    entry->manufacturer_string = new_string(L"Elgato");
    entry->product_string = new_string(identity.product);
    entry->bus_type = HID_API_BUS_USB;
    return entry;
}

} // namespace

extern "C" {

VIRTUAL_DECKS_CALL int hid_init(void) {
    bus().note_call("hid_init");
    return control().begin() ? 0 : -1;
}

VIRTUAL_DECKS_CALL int hid_exit(void) {
    bus().note_call("hid_exit");
    control().end();
    return 0;
}

VIRTUAL_DECKS_CALL hid_device_info* hid_enumerate(unsigned short vendor_id,
                                                  unsigned short product_id) {
    bus().note_call("hid_enumerate");
    hid_device_info* first = nullptr;
    hid_device_info** end = &first;
    for (const device_identity& each : bus().enumerate(vendor_id, product_id)) {
        *end = new_entry(each);
        end = &(*end)->next;
    }
    return first;
}

VIRTUAL_DECKS_CALL void hid_free_enumeration(hid_device_info* first) {
    bus().note_call("hid_free_enumeration");
    while (first != nullptr) {
        hid_device_info* const next = first->next;
        delete[] first->path;
        delete[] first->serial_number;
        delete[] first->manufacturer_string;
        delete[] first->product_string;
        delete first;
        first = next;
    }
}

VIRTUAL_DECKS_CALL hid_device* hid_open_path(const char* path) {
    bus().note_call("hid_open_path");
    return bus().open(path);
}

VIRTUAL_DECKS_CALL void hid_close(hid_device* device) {
    bus().note_call("hid_close");
    if (device != nullptr) bus().close(device);
}

VIRTUAL_DECKS_CALL int hid_set_nonblocking(hid_device* device, int) {
    bus().note_call("hid_set_nonblocking");
    return bus().is_open(device, "hid_set_nonblocking") ? 0 : -1;
}

VIRTUAL_DECKS_CALL int hid_get_serial_number_string(hid_device* device, wchar_t* text,
                                                    size_t size) {
    bus().note_call("hid_get_serial_number_string");
    const std::optional<std::wstring> serial = bus().serial(device);
    if (!serial || size == 0) return -1;
    const std::size_t count = std::min(serial->size(), size - 1);
    std::copy_n(serial->c_str(), count, text);
    text[count] = L'\0';
    return 0;
}

VIRTUAL_DECKS_CALL int hid_read_timeout(hid_device* device, unsigned char* data, size_t size,
                                        int limit) {
    bus().note_call("hid_read_timeout");
    return bus().read(device, data, size, std::chrono::milliseconds(limit));
}

VIRTUAL_DECKS_CALL int hid_write(hid_device* device, const unsigned char* data, size_t size) {
    bus().note_call("hid_write");
    return bus().write(device, text_of(data, size));
}

VIRTUAL_DECKS_CALL int hid_send_feature_report(hid_device* device, const unsigned char* data,
                                               size_t size) {
    bus().note_call("hid_send_feature_report");
    return bus().send_feature(device, text_of(data, size));
}

} // extern "C"
