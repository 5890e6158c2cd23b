#include "integration/support/hid_stand_in.hpp"

#include <hidapi.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <iomanip>
#include <map>
#include <mutex>
#include <sstream>

struct hid_device_ {
    std::string path;
    std::size_t plugging = 0; // of the device that was opened
    bool open = true;
    bool busy = false;
};

namespace elvantris::operator_control {
namespace {

struct plugged_device {
    bus_device device;
    std::size_t plugging = 0;
    bool held = false;
    bool writes_fail = false;
    milliseconds slow_failure{0};
    bool writes_blocked = false;
    std::size_t writes_waiting = 0;
    std::optional<std::size_t> good_writes; // before the one that fails
    std::size_t failing_reads = 0;
    std::size_t failing_features = 0;
    std::deque<std::string> input;
};

// One entry of an enumeration, with the texts that it points to.
struct listed_device : hid_device_info {
    bus_device device;
};

} // namespace

struct hid_stand_in::state {
    mutable std::mutex mutex;
    std::condition_variable released;
    std::vector<plugged_device> devices;
    std::vector<std::unique_ptr<hid_device_>> handles;
    std::set<const hid_device_info*> lists;
    std::vector<std::string> calls;
    std::vector<sent_report> reports;
    std::vector<std::string> misuse;
    std::map<std::string, std::size_t> reads;
    std::set<std::string> enumeration_arguments;
    std::set<std::string> read_arguments;
    std::function<void()> scan_act;
    std::size_t scans = 0;
    std::size_t pluggings = 0;
    bool init_fails = false;
    bool enumeration_fails = false;

    plugged_device* find(const std::string& path) {
        const auto found = std::ranges::find_if(
            devices, [&](const plugged_device& each) { return each.device.path == path; });
        return found == devices.end() ? nullptr : &*found;
    }
    plugged_device& at(const std::string& path) {
        plugged_device* const found = find(path);
        if (found == nullptr) std::abort(); // the test names a device that it has not plugged
        return *found;
    }
    // The device behind a handle; null if it has been pulled.
    plugged_device* behind(const hid_device_& handle) {
        plugged_device* const found = find(handle.path);
        return found != nullptr && found->plugging == handle.plugging ? found : nullptr;
    }
    void check(const hid_device_& handle, const char* call) {
        if (!handle.open) misuse.push_back(std::string(call) + " on a closed " + handle.path);
        if (handle.busy) misuse.push_back(std::string(call) + " beside another " + handle.path);
    }
};

namespace {

hid_stand_in::state* bus = nullptr;

std::string hex4(unsigned short value) {
    std::ostringstream text;
    text << std::hex << std::setw(4) << std::setfill('0') << value;
    return text.str();
}

const wchar_t* pointer_or_null(const std::optional<std::wstring>& text) {
    return text ? text->c_str() : nullptr;
}

// -1 or the length, as hidapi has it.
int note_report(hid_stand_in::state& state, std::unique_lock<std::mutex>& lock, hid_device_& handle,
                bool feature, const unsigned char* data, std::size_t length) {
    const char* const call = feature ? "feature" : "write";
    state.check(handle, call);
    state.calls.push_back(std::string(call) + ' ' + handle.path + ' ' + std::to_string(length));
    state.reports.push_back({.path = handle.path,
                             .feature = feature,
                             .bytes = std::string(reinterpret_cast<const char*>(data), length)});
    plugged_device* device = state.behind(handle);
    if (device == nullptr) return -1;
    const int sent = static_cast<int>(length);
    if (feature) {
        if (device->failing_features == 0) return sent;
        --device->failing_features;
        return -1;
    }
    if (device->writes_blocked) {
        handle.busy = true;
        ++device->writes_waiting;
        state.released.wait(lock, [&] {
            device = state.behind(handle);
            return device == nullptr || !device->writes_blocked;
        });
        handle.busy = false;
        if (device == nullptr) return -1;
        --device->writes_waiting;
    }
    if (device->slow_failure > milliseconds(0)) {
        const steady_time end = steady_now() + device->slow_failure;
        handle.busy = true;
        state.released.wait_until(lock, end, [&] { return steady_now() >= end; });
        handle.busy = false;
        return -1;
    }
    if (device->writes_fail) return -1;
    if (!device->good_writes) return sent;
    if (*device->good_writes > 0) {
        --*device->good_writes;
        return sent;
    }
    device->good_writes.reset();
    return -1;
}

} // namespace

hid_stand_in::hid_stand_in() : state_(std::make_unique<state>()) {
    state_->calls.reserve(1'000); // for a start without memory
    bus = state_.get();
}

hid_stand_in::~hid_stand_in() {
    bus = nullptr;
}

void hid_stand_in::plug(const bus_device& device) {
    const std::lock_guard lock(state_->mutex);
    plugged_device& plugged = state_->devices.emplace_back();
    plugged.device = device;
    plugged.plugging = ++state_->pluggings;
}

void hid_stand_in::pull(const std::string& path) {
    const std::lock_guard lock(state_->mutex);
    std::erase_if(state_->devices,
                  [&](const plugged_device& each) { return each.device.path == path; });
    state_->released.notify_all();
}

void hid_stand_in::hold(const std::string& path, bool held) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).held = held;
}

void hid_stand_in::fail_init(bool fails) {
    const std::lock_guard lock(state_->mutex);
    state_->init_fails = fails;
}

void hid_stand_in::fail_enumeration(bool fails) {
    const std::lock_guard lock(state_->mutex);
    state_->enumeration_fails = fails;
}

void hid_stand_in::fail_reads(const std::string& path, std::size_t count) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).failing_reads = count;
}

void hid_stand_in::fail_writes(const std::string& path, bool fails) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).writes_fail = fails;
}

void hid_stand_in::fail_writes_slowly(const std::string& path, milliseconds each) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).slow_failure = each;
}

void hid_stand_in::on_scan(std::function<void()> act) {
    const std::lock_guard lock(state_->mutex);
    state_->scan_act = std::move(act);
}

void hid_stand_in::fail_write(const std::string& path, std::size_t after) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).good_writes = after;
}

void hid_stand_in::fail_feature_reports(const std::string& path, std::size_t count) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).failing_features = count;
}

void hid_stand_in::block_writes(const std::string& path, bool blocked) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).writes_blocked = blocked;
    state_->released.notify_all();
}

bool hid_stand_in::is_write_waiting(const std::string& path) const {
    const std::lock_guard lock(state_->mutex);
    return state_->at(path).writes_waiting > 0;
}

void hid_stand_in::queue_input(const std::string& path, const std::string& report) {
    const std::lock_guard lock(state_->mutex);
    state_->at(path).input.push_back(report);
}

std::size_t hid_stand_in::queued_input(const std::string& path) const {
    const std::lock_guard lock(state_->mutex);
    return state_->at(path).input.size();
}

std::vector<std::string> hid_stand_in::calls() const {
    const std::lock_guard lock(state_->mutex);
    return state_->calls;
}

std::vector<sent_report> hid_stand_in::reports() const {
    const std::lock_guard lock(state_->mutex);
    return state_->reports;
}

void hid_stand_in::forget_calls() {
    const std::lock_guard lock(state_->mutex);
    state_->calls.clear();
    state_->reports.clear();
}

std::size_t hid_stand_in::scans() const {
    const std::lock_guard lock(state_->mutex);
    return state_->scans;
}

std::size_t hid_stand_in::reads(const std::string& path) const {
    const std::lock_guard lock(state_->mutex);
    const auto found = state_->reads.find(path);
    return found == state_->reads.end() ? 0 : found->second;
}

std::set<std::string> hid_stand_in::enumeration_arguments() const {
    const std::lock_guard lock(state_->mutex);
    return state_->enumeration_arguments;
}

std::set<std::string> hid_stand_in::read_arguments() const {
    const std::lock_guard lock(state_->mutex);
    return state_->read_arguments;
}

std::vector<std::string> hid_stand_in::misuse() const {
    const std::lock_guard lock(state_->mutex);
    std::vector<std::string> found = state_->misuse;
    for (const auto& handle : state_->handles)
        if (handle->open) found.push_back(handle->path + " was left open");
    if (!state_->lists.empty()) found.emplace_back("a list was not freed");
    return found;
}

} // namespace elvantris::operator_control

using elvantris::operator_control::bus;
using elvantris::operator_control::hex4;
using elvantris::operator_control::hid_stand_in;
using elvantris::operator_control::listed_device;
using elvantris::operator_control::note_report;
using elvantris::operator_control::plugged_device;
using elvantris::operator_control::pointer_or_null;

extern "C" {

int hid_init() {
    const std::lock_guard lock(bus->mutex);
    bus->calls.emplace_back("init");
    return bus->init_fails ? -1 : 0;
}

int hid_exit() {
    const std::lock_guard lock(bus->mutex);
    bus->calls.emplace_back("exit");
    return 0;
}

hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id) {
    const std::lock_guard lock(bus->mutex);
    ++bus->scans;
    if (bus->scan_act) bus->scan_act();
    bus->enumeration_arguments.insert(hex4(vendor_id) + ' ' + hex4(product_id));
    if (bus->enumeration_fails) return nullptr;
    hid_device_info* first = nullptr;
    hid_device_info** link = &first;
    for (const plugged_device& plugged : bus->devices) {
        auto* const entry = new listed_device{};
        entry->device = plugged.device;
        entry->path = entry->device.path.data();
        entry->vendor_id = vendor_id;
        entry->product_id = entry->device.product_id;
        entry->serial_number = const_cast<wchar_t*>(pointer_or_null(entry->device.serial));
        entry->product_string = const_cast<wchar_t*>(pointer_or_null(entry->device.product));
        *link = entry;
        link = &entry->next;
    }
    if (first != nullptr) bus->lists.insert(first);
    return first;
}

void hid_free_enumeration(hid_device_info* list) {
    const std::lock_guard lock(bus->mutex);
    if (list != nullptr && bus->lists.erase(list) == 0) {
        bus->misuse.emplace_back("a list was freed that is none");
        return;
    }
    while (list != nullptr) {
        hid_device_info* const next = list->next;
        delete static_cast<listed_device*>(list);
        list = next;
    }
}

hid_device* hid_open_path(const char* path) {
    const std::lock_guard lock(bus->mutex);
    bus->calls.push_back(std::string("open ") + path);
    const plugged_device* const device = bus->find(path);
    if (device == nullptr || device->held) return nullptr;
    auto handle = std::make_unique<hid_device_>();
    handle->path = path;
    handle->plugging = device->plugging;
    return bus->handles.emplace_back(std::move(handle)).get();
}

void hid_close(hid_device* handle) {
    const std::lock_guard lock(bus->mutex);
    bus->check(*handle, "close");
    bus->calls.push_back("close " + handle->path);
    handle->open = false;
}

int hid_set_nonblocking(hid_device* handle, int nonblock) {
    const std::lock_guard lock(bus->mutex);
    bus->check(*handle, "set nonblocking");
    bus->calls.push_back("set nonblocking " + handle->path + ' ' + std::to_string(nonblock));
    return 0;
}

int hid_get_serial_number_string(hid_device* handle, wchar_t* text, std::size_t size) {
    const std::lock_guard lock(bus->mutex);
    bus->check(*handle, "ask serial");
    bus->calls.push_back("ask serial " + handle->path + ' ' + std::to_string(size));
    const plugged_device* const device = bus->behind(*handle);
    if (device == nullptr || !device->device.asked_serial) return -1;
    const std::wstring& serial = *device->device.asked_serial;
    // The least kind of library: without a zero where it has no room for one.
    const std::size_t length = std::min(serial.size(), size);
    std::copy_n(serial.data(), length, text);
    if (length < size) text[length] = L'\0';
    return 0;
}

int hid_read_timeout(hid_device* handle, unsigned char* data, std::size_t size, int milliseconds) {
    const std::lock_guard lock(bus->mutex);
    bus->check(*handle, "read");
    ++bus->reads[handle->path];
    bus->read_arguments.insert(std::to_string(size) + ' ' + std::to_string(milliseconds));
    plugged_device* const device = bus->behind(*handle);
    if (device == nullptr) return -1;
    if (device->failing_reads > 0) {
        --device->failing_reads;
        return -1;
    }
    if (device->input.empty()) return 0;
    const std::string report = device->input.front();
    device->input.pop_front();
    const std::size_t length = std::min(report.size(), size);
    std::copy_n(report.data(), length, reinterpret_cast<char*>(data));
    return static_cast<int>(length);
}

int hid_write(hid_device* handle, const unsigned char* data, std::size_t length) {
    std::unique_lock lock(bus->mutex);
    return note_report(*bus, lock, *handle, false, data, length);
}

int hid_send_feature_report(hid_device* handle, const unsigned char* data, std::size_t length) {
    std::unique_lock lock(bus->mutex);
    return note_report(*bus, lock, *handle, true, data, length);
}

} // extern "C"
