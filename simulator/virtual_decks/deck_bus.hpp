// The bus with all its decks: what the calls of the library reach, and what the control changes.
//
// Threads: any. A write that takes its time holds no lock meanwhile.
// Ownership: a handle stays known for the life of the process, so that a call with one that was
//   closed is noticed and not obeyed.
#pragma once

#include "report_log.hpp"
#include "virtual_deck.hpp"

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// The name is that of the library's header.
struct hid_device_ { // NOLINT(readability-identifier-naming)
    std::shared_ptr<elvantris::simulator::virtual_deck> deck;
    bool open = true;
};

namespace elvantris::simulator {

class deck_bus {
public:
    // The calls. A negative number, a null handle and an absent value mean failure.
    std::vector<device_identity> enumerate(std::uint16_t vendor_id, std::uint16_t product_id);
    hid_device_* open(const std::string& path);
    void close(hid_device_* handle);
    bool is_open(hid_device_* handle, const char* call);
    std::optional<std::wstring> serial(hid_device_* handle);
    int write(hid_device_* handle, std::string_view report);
    int send_feature(hid_device_* handle, std::string_view report);
    // A negative limit waits for ever.
    int read(hid_device_* handle, unsigned char* buffer, std::size_t size,
             std::chrono::milliseconds limit);
    void note_call(const char* name);
    void note_exit();

    // The control. All throw control_error.
    void plug(const nlohmann::ordered_json& request);
    void pull(const nlohmann::ordered_json& request);
    void hold_keys(const nlohmann::ordered_json& request, bool down);
    void input(const nlohmann::ordered_json& request);
    void set_faults(const nlohmann::ordered_json& request);
    void forget();
    nlohmann::ordered_json report(bool decode) const;
    nlohmann::ordered_json reports(const std::string& path) const;
    // A copy, to be looked at without holding up the bus.
    virtual_deck deck(const std::string& path) const;

private:
    using deck_pointer = std::shared_ptr<virtual_deck>;

    deck_pointer find(const std::string& path) const;
    deck_pointer find_for(const nlohmann::ordered_json& request) const;
    virtual_deck* reached(hid_device_* handle, const char* call);
    void note_error(const std::string& error);
    void log(const virtual_deck& deck, const char* act, std::string result, std::string_view bytes);
    template<class take>
    int send(hid_device_* handle, const char* act, std::string_view report,
             std::int64_t device_faults::*failing, take take_report);

    mutable std::mutex mutex_; // guards everything below
    std::condition_variable input_came_;
    std::vector<deck_pointer> decks_; // present ones, in the order of plugging
    std::map<hid_device_*, std::unique_ptr<hid_device_>> handles_;
    std::map<std::string, std::int64_t> calls_;
    std::deque<std::string> errors_;
    report_log log_;
    bool enumeration_fails_ = false;
    int plugged_so_far_ = 0;
};

} // namespace elvantris::simulator
