// A bus of devices that a test plugs, pulls and listens to. This program's own definitions of
// hidapi's calls stand behind it, in place of the library's.
//
// Threads: any. One bus at a time: making one makes it the bus that hidapi's calls see.
#pragma once

#include "os/clock.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

struct bus_device {
    std::string path;
    std::uint16_t product_id = 0;
    std::optional<std::wstring> serial = std::nullopt;       // as the bus lists it
    std::optional<std::wstring> product = std::nullopt;      // as the bus lists it
    std::optional<std::wstring> asked_serial = std::nullopt; // what the open device tells
};

// A report that the program sent, also one that failed.
struct sent_report {
    std::string path;
    bool feature = false;
    std::string bytes;
};

class hid_stand_in {
public:
    hid_stand_in();
    // The adapter has been stopped.
    ~hid_stand_in();
    hid_stand_in(const hid_stand_in&) = delete;
    hid_stand_in& operator=(const hid_stand_in&) = delete;
    hid_stand_in(hid_stand_in&&) = delete;
    hid_stand_in& operator=(hid_stand_in&&) = delete;

    // The order of plugging is the order in which the bus lists its devices. One that was pulled
    // and comes back under its old path is another one: handles to the first stay dead.
    void plug(const bus_device& device);
    void pull(const std::string& path);
    // By another application: it can't be opened.
    void hold(const std::string& path, bool held);

    void fail_init(bool fails);
    void fail_enumeration(bool fails); // the bus then lists nothing
    // Called on the program's thread at each enumeration; what it throws goes to the program.
    void on_scan(std::function<void()> act);
    void fail_reads(const std::string& path, std::size_t count);
    void fail_writes(const std::string& path, bool fails);
    void fail_write(const std::string& path, std::size_t after); // one, behind so many good ones
    // Every write waits for so long and fails, as on hardware that hangs; 0 ends it.
    void fail_writes_slowly(const std::string& path, milliseconds each);
    void fail_feature_reports(const std::string& path, std::size_t count);
    // Every write waits, as on slow hardware, until it is let go.
    void block_writes(const std::string& path, bool blocked);
    bool is_write_waiting(const std::string& path) const;

    void queue_input(const std::string& path, const std::string& report);
    std::size_t queued_input(const std::string& path) const;

    // "init", "exit", "open /a", "set nonblocking /a 1", "ask serial /a 256", "write /a 1024",
    // "feature /a 32", "close /a"; not the enumerations and reads, which never end.
    std::vector<std::string> calls() const;
    std::vector<sent_report> reports() const;
    void forget_calls();

    std::size_t scans() const;
    std::size_t reads(const std::string& path) const;
    // "0fd9 0000": vendor and product that were asked for.
    std::set<std::string> enumeration_arguments() const;
    // "512 0": length and time-out.
    std::set<std::string> read_arguments() const;
    // What no program may do: use a closed handle, close one twice, use one device from two
    // threads at once, free a list twice. Also handles and lists that are left open.
    std::vector<std::string> misuse() const;

    struct state;

private:
    std::unique_ptr<state> state_;
};

} // namespace elvantris::operator_control
