#include "decks/hid_streamdeck_adapter.hpp"

#include "decks/connected_deck.hpp"
#include "decks/deck_vendor.hpp"
#include "decks/hid_text.hpp"
#include "decks/image_reports.hpp"
#include "decks/key_reports.hpp"
#include "os/clock.hpp"
#include "os/standard_streams.hpp"

#include <hidapi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <span>
#include <thread>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::chrono::seconds scan_period{2};
constexpr std::chrono::milliseconds key_period{20};
// After a deck came back. Its absence must last longer than the 2 s between two registrations: a
// server that doesn't hear of it would not draw the deck's keys again.
constexpr milliseconds return_period{2'200};
// A single failed read is no more than an empty one, nor is a moment of them.
constexpr std::uint32_t failed_reads_of_a_dead_deck = 2;
constexpr milliseconds failing_time_of_a_dead_deck{250};
constexpr std::size_t input_buffer_size = 512;
constexpr std::size_t serial_buffer_size = 256;
constexpr std::size_t largest_image = 262'144; // far above what any key can show

using deck_pointer = std::shared_ptr<connected_deck>;

struct device_closer {
    void operator()(hid_device* device) const { ::hid_close(device); }
};
using open_device = std::unique_ptr<hid_device, device_closer>;

// What one scan has found so far.
struct bus_scan {
    std::set<std::string> seen_paths;
    std::set<std::string> dead_paths;        // of decks that are to depart in this scan
    std::set<std::string> colliding_serials; // of a second device
};

bool is_dead(const connected_deck& deck, steady_time now) {
    return deck.failed_reads >= failed_reads_of_a_dead_deck &&
           now - deck.failing_since >= failing_time_of_a_dead_deck;
}

std::string text_or_empty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

std::string find_serial(const hid_device_info& entry, hid_device* device, const std::string& path) {
    if (std::string listed = narrow(entry.serial_number); !listed.empty()) return listed;
    std::array<wchar_t, serial_buffer_size + 1> buffer{}; // ends with a zero in any case
    if (::hid_get_serial_number_string(device, buffer.data(), serial_buffer_size) == 0)
        if (std::string asked = narrow(buffer.data()); !asked.empty()) return asked;
    return "path:" + path;
}

deck_pointer describe(const hid_device_info& entry, const deck_model& model, open_device device,
                      const std::string& path) {
    const std::string product = narrow(entry.product_string);
    auto deck = std::make_shared<connected_deck>();
    deck->info = {.serial = find_serial(entry, device.get(), path),
                  .pid = std::to_string(model.product_id),
                  .device_name = product.empty() ? std::string(model.name) : product,
                  .device_path = path,
                  .key_count = model.key_count,
                  .key_width = model.key_width,
                  .key_height = model.key_height,
                  .image_format = std::string(model.image_format),
                  .image_rotation = model.image_rotation};
    deck->model = model;
    deck->key_state.resize(static_cast<std::size_t>(model.key_count));
    deck->device = device.release();
    return deck;
}

class hid_streamdeck_adapter : public streamdeck_adapter {
public:
    hid_streamdeck_adapter() = default;
    hid_streamdeck_adapter(const hid_streamdeck_adapter&) = delete;
    hid_streamdeck_adapter& operator=(const hid_streamdeck_adapter&) = delete;
    hid_streamdeck_adapter(hid_streamdeck_adapter&&) = delete;
    hid_streamdeck_adapter& operator=(hid_streamdeck_adapter&&) = delete;
    ~hid_streamdeck_adapter() override { hid_streamdeck_adapter::stop(); }

    bool start() override;
    void stop() override;
    std::vector<deck_info> list_decks() override;
    bool set_key_image(const std::string& serial, std::int32_t key,
                       std::string_view image) override;
    bool clear_key(const std::string& serial, std::int32_t key) override;
    bool clear_all_keys(const std::string& serial) override;
    bool show_splash(const std::string& serial) override;
    void set_key_handler(deck_key_handler handler) override;

private:
    void work();
    void run_pass(steady_time& next_scan);
    // Until the next pass has something to do, or the stop.
    void rest(steady_time next_scan);
    // Gives the time to the next one.
    milliseconds scan();
    void end_rests();
    // Returns the paths of those that departed.
    std::set<std::string> drop_dead_decks(const hid_device_info* devices);
    void look_at(const hid_device_info& entry, bus_scan& found);
    open_device open(const deck_model& model, const std::string& path);
    void attach(const deck_pointer& deck, bus_scan& found);
    // The first deck of a serial stays; another is closed, and the result is false.
    bool insert(const deck_pointer& deck, bus_scan& found);
    // Takes the decks that `gone` names out of the map, closes them and returns them.
    template<typename predicate>
    std::vector<deck_pointer> detach_where(predicate gone);
    void read_keys();
    static void read_deck(connected_deck& deck, const deck_key_handler& handler);

    deck_pointer find(const std::string& serial);
    deck_pointer find_with_key(const std::string& serial, std::int32_t key);
    bool is_attached(const std::string& path);

    std::atomic<bool> running_{false};
    std::thread worker_;
    std::condition_variable stopped_; // with `mutex_`
    // Guards `decks_` and `key_handler_`. Taken with a deck's own mutex held only where nobody else
    // knows that deck yet; all other paths hold one at a time.
    std::mutex mutex_;
    std::map<std::string, deck_pointer> decks_; // by serial
    std::set<std::string> unsupported_paths_;   // reported already; the adapter's thread alone
    std::set<std::string> open_failed_paths_;   // reported already; the adapter's thread alone
    deck_key_handler key_handler_;
};

bool hid_streamdeck_adapter::start() {
    if (running_) return true;
    if (::hid_init() != 0) return false;
    running_ = true;
    try {
        worker_ = std::thread([this] { work(); });
    } catch (...) { // no thread, or no memory for it
        running_ = false;
        ::hid_exit();
        return false;
    }
    return true;
}

void hid_streamdeck_adapter::stop() {
    {
        // Under the lock, so that the worker can't look just before and sleep just after.
        const std::lock_guard lock(mutex_);
        if (!running_.exchange(false)) return;
    }
    stopped_.notify_all();
    if (worker_.joinable()) worker_.join();
    std::map<std::string, deck_pointer> decks;
    {
        const std::lock_guard lock(mutex_);
        decks.swap(decks_);
    }
    for (const auto& [serial, deck] : decks) {
        const std::lock_guard lock(deck->mutex);
        send_reset(*deck);
        close_device(*deck);
    }
    ::hid_exit();
}

std::vector<deck_info> hid_streamdeck_adapter::list_decks() {
    const std::lock_guard lock(mutex_);
    std::vector<deck_info> decks;
    decks.reserve(decks_.size());
    for (const auto& [serial, deck] : decks_)
        decks.push_back(deck->info);
    return decks;
}

bool hid_streamdeck_adapter::set_key_image(const std::string& serial, std::int32_t key,
                                           std::string_view image) {
    const deck_pointer deck = find_with_key(serial, key);
    if (!deck || image.empty()) return false;
    if (!is_image_for(deck->model.family, image)) {
        write_error_line("[streamdeck] rejected malformed " + deck->info.image_format +
                         " image serial=" + serial + " key=" + std::to_string(key) +
                         " bytes=" + std::to_string(image.size()));
        return false;
    }
    const std::lock_guard lock(deck->mutex);
    if (image.size() > largest_image) {
        if (deck->refused_keys.insert(key).second)
            write_error_line("[streamdeck] rejected oversized " + deck->info.image_format +
                             " image serial=" + serial + " key=" + std::to_string(key) +
                             " bytes=" + std::to_string(image.size()));
        return false;
    }
    const bool written = write_image(*deck, key, image);
    if (written) deck->refused_keys.erase(key);
    return written;
}

bool hid_streamdeck_adapter::clear_key(const std::string& serial, std::int32_t key) {
    const deck_pointer deck = find_with_key(serial, key);
    if (!deck) return false;
    const std::lock_guard lock(deck->mutex);
    return write_empty_key(*deck, key);
}

bool hid_streamdeck_adapter::clear_all_keys(const std::string& serial) {
    const deck_pointer deck = find(serial);
    if (!deck) return false;
    const std::lock_guard lock(deck->mutex);
    return write_empty_keys(*deck);
}

bool hid_streamdeck_adapter::show_splash(const std::string& serial) {
    const deck_pointer deck = find(serial);
    if (!deck) return false;
    const std::lock_guard lock(deck->mutex);
    return write_splash(*deck);
}

void hid_streamdeck_adapter::set_key_handler(deck_key_handler handler) {
    const std::lock_guard lock(mutex_);
    key_handler_ = std::move(handler);
}

void hid_streamdeck_adapter::work() {
    steady_time next_scan = steady_time::min();
    while (running_) {
        try {
            run_pass(next_scan);
        } catch (...) {
            // Out of memory, here or in the handler. A line about it would need memory as well; the
            // next pass and the next scan do what this one has not done.
        }
        rest(next_scan);
    }
}

void hid_streamdeck_adapter::rest(steady_time next_scan) {
    const steady_time next_read = steady_now() + key_period;
    std::unique_lock lock(mutex_);
    // Without a deck there is no key to read, and only a scan brings one.
    const steady_time end = decks_.empty() ? std::max(next_scan, next_read) : next_read;
    stopped_.wait_until(lock, end, [this] { return !running_; });
}

void hid_streamdeck_adapter::run_pass(steady_time& next_scan) {
    const steady_time now = steady_now();
    if (now >= next_scan) {
        next_scan = now + scan_period;
        next_scan = now + scan();
    }
    read_keys();
}

milliseconds hid_streamdeck_adapter::scan() {
    end_rests();
    bus_scan found;
    {
        // A shared pointer, for a unique one would not give an empty list back.
        const std::shared_ptr<hid_device_info> devices(::hid_enumerate(deck_vendor_id, 0),
                                                       ::hid_free_enumeration);
        found.dead_paths = drop_dead_decks(devices.get());
        for (const hid_device_info* entry = devices.get(); entry != nullptr; entry = entry->next)
            if (!found.dead_paths.contains(text_or_empty(entry->path))) look_at(*entry, found);
    }
    const std::vector<deck_pointer> departed = detach_where([&](const connected_deck& deck) {
        return !found.seen_paths.contains(deck.info.device_path);
    });
    // One that is on the bus already, under its old path or another, attaches at the next scan.
    const bool returns =
        !found.dead_paths.empty() || std::ranges::any_of(departed, [&](const deck_pointer& deck) {
            return found.colliding_serials.contains(deck->info.serial);
        });
    return returns ? return_period : scan_period;
}

void hid_streamdeck_adapter::end_rests() {
    const std::lock_guard lock(mutex_);
    for (const auto& [serial, deck] : decks_)
        deck->left_alone = false;
}

// A deck that was pulled and plugged again since the last scan can be on the bus under its old
// path, while the handle that we hold is dead. It departs here and attaches again at the next scan:
// by then the servers have been told that it is gone, and draw all of its keys again.
std::set<std::string> hid_streamdeck_adapter::drop_dead_decks(const hid_device_info* devices) {
    std::set<std::string> listed;
    for (const hid_device_info* entry = devices; entry != nullptr; entry = entry->next)
        listed.insert(text_or_empty(entry->path));
    const steady_time now = steady_now();
    std::set<std::string> paths;
    for (const deck_pointer& deck : detach_where([&](const connected_deck& each) {
             return is_dead(each, now) && listed.contains(each.info.device_path);
         }))
        paths.insert(deck->info.device_path);
    return paths;
}

void hid_streamdeck_adapter::look_at(const hid_device_info& entry, bus_scan& found) {
    const std::string path = text_or_empty(entry.path);
    const deck_model* const model = find_deck_model(entry.product_id);
    if (model == nullptr) {
        if (unsupported_paths_.insert(path).second)
            write_error_line("[streamdeck] unsupported Elgato HID device pid=0x" +
                             hex_product_id(entry.product_id) +
                             " name=" + narrow(entry.product_string) + " path=" + path);
        return;
    }
    found.seen_paths.insert(path);
    if (is_attached(path)) return;
    if (open_device device = open(*model, path))
        attach(describe(entry, *model, std::move(device), path), found);
}

open_device hid_streamdeck_adapter::open(const deck_model& model, const std::string& path) {
    open_device device(::hid_open_path(path.c_str()));
    if (!device) {
        if (open_failed_paths_.insert(path).second)
            write_error_line("[streamdeck] found " + std::string(model.name) + " pid=0x" +
                             hex_product_id(model.product_id) +
                             " but could not open it; another application may own the HID device."
                             " path=" +
                             path);
        return device;
    }
    open_failed_paths_.erase(path);
    ::hid_set_nonblocking(device.get(), 1);
    return device;
}

void hid_streamdeck_adapter::attach(const deck_pointer& deck, bus_scan& found) {
    const deck_info& info = deck->info;
    {
        // Before anybody can find it: nothing may be painted that the splash would cover.
        const std::lock_guard deck_lock(deck->mutex);
        if (!insert(deck, found)) return;
        if (!write_splash(*deck))
            write_error_line("[streamdeck] unable to paint bundled Elvantris splash for serial=" +
                             info.serial);
    }
    write_output_line("[streamdeck] attached " + info.device_name + " serial=" + info.serial +
                      " pid=" + info.pid);
}

bool hid_streamdeck_adapter::insert(const deck_pointer& deck, bus_scan& found) {
    const deck_info& info = deck->info;
    const std::lock_guard lock(mutex_);
    const auto [place, inserted] = decks_.try_emplace(info.serial, deck);
    if (inserted) return true;
    const std::string& first_path = place->second->info.device_path;
    if (first_path != info.device_path)
        write_error_line("[streamdeck] serial collision: serial=" + info.serial +
                         " existingPath=" + first_path + " newPath=" + info.device_path);
    close_device(*deck);
    found.colliding_serials.insert(info.serial);
    return false;
}

template<typename predicate>
std::vector<deck_pointer> hid_streamdeck_adapter::detach_where(predicate gone) {
    std::vector<deck_pointer> departed;
    {
        const std::lock_guard lock(mutex_);
        departed.reserve(decks_.size());
        std::erase_if(decks_, [&](const auto& entry) {
            if (!gone(*entry.second)) return false;
            departed.push_back(entry.second);
            return true;
        });
    }
    for (const deck_pointer& deck : departed) {
        const std::lock_guard lock(deck->mutex);
        close_device(*deck);
        write_output_line("[streamdeck] detached serial=" + deck->info.serial);
    }
    return departed;
}

void hid_streamdeck_adapter::read_keys() {
    std::vector<deck_pointer> decks;
    deck_key_handler handler;
    {
        const std::lock_guard lock(mutex_);
        for (const auto& [serial, deck] : decks_)
            decks.push_back(deck);
        handler = key_handler_;
    }
    if (!handler) return;
    for (const deck_pointer& deck : decks)
        read_deck(*deck, handler);
}

void hid_streamdeck_adapter::read_deck(connected_deck& deck, const deck_key_handler& handler) {
    std::array<unsigned char, input_buffer_size> buffer{};
    int count = 0;
    {
        // One that is being painted is read in a later pass: the other decks' keys don't wait for
        // its hardware, and its own reports wait in the system's queue.
        const std::unique_lock lock(deck.mutex, std::try_to_lock);
        if (!lock || deck.device == nullptr) return;
        count = ::hid_read_timeout(deck.device, buffer.data(), buffer.size(), 0);
    }
    if (count >= 0) deck.failed_reads = 0;
    if (count < 0 && deck.failed_reads++ == 0) deck.failing_since = steady_now();
    if (count < 1) return;
    apply_key_report(deck.model, std::span(buffer).first(static_cast<std::size_t>(count)),
                     deck.key_state,
                     [&](std::int32_t key, bool down) { handler(deck.info.serial, key, down); });
}

deck_pointer hid_streamdeck_adapter::find(const std::string& serial) {
    const std::lock_guard lock(mutex_);
    const auto found = decks_.find(serial);
    return found == decks_.end() ? nullptr : found->second;
}

deck_pointer hid_streamdeck_adapter::find_with_key(const std::string& serial, std::int32_t key) {
    deck_pointer deck = find(serial);
    return deck && key >= 0 && key < deck->model.key_count ? deck : nullptr;
}

bool hid_streamdeck_adapter::is_attached(const std::string& path) {
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(
        decks_, [&](const auto& entry) { return entry.second->info.device_path == path; });
}

} // namespace

std::unique_ptr<streamdeck_adapter> create_hid_streamdeck_adapter() {
    return std::make_unique<hid_streamdeck_adapter>();
}

} // namespace elvantris::operator_control
