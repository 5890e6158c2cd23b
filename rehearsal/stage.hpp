// The simulated surroundings of the program: servers with their troubles, and the messages that
// have arrived.
//
// Threads: any.
#pragma once

#include "rehearsal/troubles.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::rehearsal {

// Where the device takes commands, over TCP and UDP.
inline constexpr std::uint16_t device_port = 7000;

// A simulated server, wherever it runs.
struct stage_server {
    std::string serial;
    std::string name;
    // Takes the body of a control call.
    std::function<void(const nlohmann::ordered_json&)> control;
};

// What is on the stage. Each list of messages is in the order of their arrival.
struct stage_setup {
    std::vector<stage_server> servers;
    std::string device_place;
    std::string commands_note; // what to know of the servers' list; may be empty
    std::function<nlohmann::ordered_json()> device;
    std::function<nlohmann::ordered_json()> commands;
    std::function<void()> forget;
};

class stage {
public:
    explicit stage(stage_setup setup);

    // False: there is no such server or trouble.
    bool change(std::string_view serial, std::string_view trouble, bool on);
    void heal_all();

    // A server's name and what is wrong with it, "Rehearsal server B: The engine crashes"; empty if
    // all are well.
    std::string first_trouble() const;
    bool has_trouble(std::string_view serial, std::string_view trouble) const;
    bool has_server(std::string_view serial) const;
    // [{"serial","name","outputs","troubles":[{"name","words","on"}]}]
    nlohmann::ordered_json report_servers() const;
    // {"devicePlace","device","commandsNote","commands"}, both lists with the latest first
    nlohmann::ordered_json report_received() const;
    void forget_received() { setup_.forget(); }

private:
    const stage_setup setup_;
    mutable std::mutex mutex_; // guards `troubles_`; also held while a server is told of a change
    std::vector<trouble_set> troubles_;
};

} // namespace elvantris::rehearsal
