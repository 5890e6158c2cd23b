#include "rehearsal/stage.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;

constexpr std::size_t most_shown = 50;

// The last ones of a list, the latest first.
ordered_json latest_of(const ordered_json& list) {
    ordered_json result = ordered_json::array();
    for (auto each = list.rbegin(); each != list.rend() && result.size() < most_shown; ++each)
        result.push_back(*each);
    return result;
}

ordered_json switches_of(const trouble_set& set) {
    ordered_json result = ordered_json::array();
    for (const trouble& each : all_troubles())
        result.push_back(
            {{"name", each.name}, {"words", each.words}, {"on", set.contains(each.name)}});
    return result;
}

} // namespace

stage::stage(stage_setup setup) : setup_(std::move(setup)), troubles_(setup_.servers.size()) {}

bool stage::change(std::string_view serial, std::string_view trouble, bool on) {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < setup_.servers.size(); ++i) {
        if (setup_.servers[i].serial != serial) continue;
        if (!change_troubles(troubles_[i], trouble, on)) return false;
        setup_.servers[i].control(switches_for(troubles_[i]));
        return true;
    }
    return false;
}

void stage::heal_all() {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < setup_.servers.size(); ++i) {
        troubles_[i].clear();
        setup_.servers[i].control(switches_for(troubles_[i]));
    }
}

std::string stage::first_trouble() const {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < setup_.servers.size(); ++i)
        for (const trouble& each : all_troubles())
            if (troubles_[i].contains(each.name))
                return setup_.servers[i].name + ": " + std::string(each.words);
    return "";
}

bool stage::has_trouble(std::string_view serial, std::string_view trouble) const {
    const std::lock_guard lock(mutex_);
    const auto server = std::ranges::find(setup_.servers, serial, &stage_server::serial);
    if (server == setup_.servers.end()) return false;
    return troubles_[static_cast<std::size_t>(server - setup_.servers.begin())].contains(trouble);
}

bool stage::has_server(std::string_view serial) const {
    return std::ranges::find(setup_.servers, serial, &stage_server::serial) != setup_.servers.end();
}

ordered_json stage::report_servers() const {
    const std::lock_guard lock(mutex_);
    ordered_json result = ordered_json::array();
    for (std::size_t i = 0; i < setup_.servers.size(); ++i)
        result.push_back({{"serial", setup_.servers[i].serial},
                          {"name", setup_.servers[i].name},
                          {"outputs", outputs_under(troubles_[i])},
                          {"troubles", switches_of(troubles_[i])}});
    return result;
}

ordered_json stage::report_received() const {
    return {{"devicePlace", setup_.device_place},
            {"device", latest_of(setup_.device())},
            {"commandsNote", setup_.commands_note},
            {"commands", latest_of(setup_.commands())}};
}

} // namespace elvantris::rehearsal
