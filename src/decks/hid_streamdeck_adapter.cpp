#include "decks/hid_streamdeck_adapter.hpp"

#include "decks/connected_deck.hpp"
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
#include <exception>
#include <map>
#include <mutex>
#include <set>
#include <span>
#include <thread>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::uint16_t vendor_id = 0x0FD9;
constexpr std::chrono::seconds scan_period{2};
constexpr std::chrono::milliseconds key_period{20};
constexpr std::uint32_t reads_to_judge = 2; // a single failure is no more than an empty read
constexpr std::size_t input_buffer_size = 512;
constexpr std::size_t serial_buffer_size = 256;

using deck_pointer = std::shared_ptr<connected_deck>;

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

deck_pointer describe(const hid_device_info& entry, const deck_model& model, hid_device* device,
                      const std::string& path) {
    const std::string product = narrow(entry.product_string);
    auto deck = std::make_shared<connected_deck>();
    deck->info = {.serial = find_serial(entry, device, path),
                  .pid = std::to_string(model.product_id),
                  .device_name = product.empty() ? std::string(model.name) : product,
                  .device_path = path,
                  .key_count = model.key_count,
                  .key_width = model.key_width,
                  .key_height = model.key_height,
                  .image_format = std::string(model.image_format),
                  .image_rotation = model.image_rotation};
    deck->model = model;
    deck->device = device;
    deck->key_state.resize(static_cast<std::size_t>(model.key_count));
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
    void scan();
    // Gives the paths of those that went.
    std::set<std::string> drop_dead_decks();
    void look_at(const hid_device_info& entry, std::set<std::string>& seen_paths);
    hid_device* open(const deck_model& model, const std::string& path);
    void attach(const deck_pointer& deck);
    // The first deck of a serial stays; another is closed, and the result is false.
    bool insert(const deck_pointer& deck);
    // Takes the decks that `gone` names out of the map, closes them and gives them back.
    template<typename predicate>
    std::vector<deck_pointer> detach_where(predicate gone);
    void read_keys();
    static void read_deck(connected_deck& deck, const deck_key_handler& handler);

    deck_pointer find(const std::string& serial);
    deck_pointer find_with_key(const std::string& serial, std::int32_t key);
    bool is_attached(const std::string& path);

    std::atomic<bool> running_{false};
    std::thread worker_;
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
    } catch (const std::exception&) {
        running_ = false;
        ::hid_exit();
        return false;
    }
    return true;
}

void hid_streamdeck_adapter::stop() {
    if (!running_.exchange(false)) return;
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
    return write_image(*deck, key, image);
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
        const steady_time now = steady_now();
        if (now >= next_scan) {
            scan();
            next_scan = now + scan_period;
        }
        read_keys();
        std::this_thread::sleep_for(key_period);
    }
}

void hid_streamdeck_adapter::scan() {
    const std::set<std::string> dead_paths = drop_dead_decks();
    std::set<std::string> seen_paths;
    {
        // A shared pointer, for a unique one would not give an empty list back.
        const std::shared_ptr<hid_device_info> devices(::hid_enumerate(vendor_id, 0),
                                                       ::hid_free_enumeration);
        for (const hid_device_info* entry = devices.get(); entry != nullptr; entry = entry->next)
            if (!dead_paths.contains(text_or_empty(entry->path))) look_at(*entry, seen_paths);
    }
    detach_where(
        [&](const connected_deck& deck) { return !seen_paths.contains(deck.info.device_path); });
}

// A deck that was pulled and plugged again since the last scan can stand on the bus under its old
// path, while the handle that we hold is dead. It departs here and attaches again at the next scan:
// by then the servers have been told that it is gone, and draw all of its keys anew.
std::set<std::string> hid_streamdeck_adapter::drop_dead_decks() {
    std::set<std::string> paths;
    for (const deck_pointer& deck : detach_where([](const connected_deck& each) {
             return each.reads_tried >= reads_to_judge && each.reads_failed == each.reads_tried;
         }))
        paths.insert(deck->info.device_path);
    const std::lock_guard lock(mutex_);
    for (const auto& [serial, deck] : decks_)
        if (deck->reads_tried >= reads_to_judge) deck->reads_tried = deck->reads_failed = 0;
    return paths;
}

void hid_streamdeck_adapter::look_at(const hid_device_info& entry,
                                     std::set<std::string>& seen_paths) {
    const std::string path = text_or_empty(entry.path);
    const deck_model* const model = find_deck_model(entry.product_id);
    if (model == nullptr) {
        if (unsupported_paths_.insert(path).second)
            write_error_line("[streamdeck] unsupported Elgato HID device pid=0x" +
                             hex_product_id(entry.product_id) +
                             " name=" + narrow(entry.product_string) + " path=" + path);
        return;
    }
    seen_paths.insert(path);
    if (is_attached(path)) return;
    if (hid_device* const device = open(*model, path); device != nullptr)
        attach(describe(entry, *model, device, path));
}

hid_device* hid_streamdeck_adapter::open(const deck_model& model, const std::string& path) {
    hid_device* const device = ::hid_open_path(path.c_str());
    if (device == nullptr) {
        if (open_failed_paths_.insert(path).second)
            write_error_line("[streamdeck] found " + std::string(model.name) + " pid=0x" +
                             hex_product_id(model.product_id) +
                             " but could not open it; another application may own the HID device."
                             " path=" +
                             path);
        return nullptr;
    }
    open_failed_paths_.erase(path);
    ::hid_set_nonblocking(device, 1);
    return device;
}

void hid_streamdeck_adapter::attach(const deck_pointer& deck) {
    const deck_info& info = deck->info;
    {
        // Before anybody can find it: nothing may be painted that the splash would cover.
        const std::lock_guard deck_lock(deck->mutex);
        if (!insert(deck)) return;
        if (!write_splash(*deck))
            write_error_line("[streamdeck] unable to paint bundled Elvantris splash for serial=" +
                             info.serial);
    }
    write_output_line("[streamdeck] attached " + info.device_name + " serial=" + info.serial +
                      " pid=" + info.pid);
}

bool hid_streamdeck_adapter::insert(const deck_pointer& deck) {
    const deck_info& info = deck->info;
    const std::lock_guard lock(mutex_);
    const auto [place, inserted] = decks_.try_emplace(info.serial, deck);
    if (inserted) return true;
    const std::string& first_path = place->second->info.device_path;
    if (first_path != info.device_path)
        write_error_line("[streamdeck] serial collision: serial=" + info.serial +
                         " existingPath=" + first_path + " newPath=" + info.device_path);
    close_device(*deck);
    return false;
}

template<typename predicate>
std::vector<deck_pointer> hid_streamdeck_adapter::detach_where(predicate gone) {
    std::vector<deck_pointer> departed;
    {
        const std::lock_guard lock(mutex_);
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
        const std::lock_guard lock(deck.mutex);
        if (deck.device != nullptr)
            count = ::hid_read_timeout(deck.device, buffer.data(), buffer.size(), 0);
    }
    ++deck.reads_tried;
    if (count < 0) ++deck.reads_failed;
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
