#include "rehearsal/troubles.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace elvantris::rehearsal {

namespace {

constexpr std::array<trouble, 7> troubles{{
    {.name = "engine",
     .words = "The engine crashes",
     .outputs = "Black. The engine plays nothing.",
     .switches = R"({"engine": "stopped"})"},
    {.name = "restart",
     .words = "The server is restarting",
     .outputs = "Black, until the engine has started.",
     .switches = R"({"engine": "starting"})"},
    {.name = "output",
     .words = "An output is unplugged",
     .outputs = "The left projector is dark. The right one plays on.",
     .switches = R"({"outputs": [
         {"id": "out-1", "name": "Projector Left", "available": false, "known": true},
         {"id": "out-2", "name": "Projector Right", "available": true, "known": true}]})"},
    {.name = "picture",
     .words = "The picture freezes",
     .outputs = "A still picture.",
     .switches = R"({"frames": "frozen"})"},
    {.name = "clock",
     .words = "The clock is gone",
     .outputs = "The show, out of step with sound and light.",
     .switches = R"({"clock": {"engaged": true, "healthy": false}})"},
    {.name = "copy",
     .words = "The show isn't copied yet",
     .outputs = "The show, without the last changes.",
     .switches = R"({"replication": {"behind": 3}})"},
    {.name = "cable",
     .words = "Somebody pulls the cable",
     .outputs = "The show. The server plays on, but nobody can reach it.",
     .switches = R"({"cable": "pulled"})"},
}};

} // namespace

std::span<const trouble> all_troubles() {
    return troubles;
}

bool change_troubles(trouble_set& set, std::string_view name, bool on) {
    if (std::ranges::find(troubles, name, &trouble::name) == troubles.end()) return false;
    if (name == "engine") set.erase("restart");
    if (name == "restart") set.erase("engine");
    if (on)
        set.emplace(name);
    else
        set.erase(std::string(name));
    return true;
}

nlohmann::ordered_json switches_for(const trouble_set& set) {
    nlohmann::ordered_json result{{"reset", true}};
    for (const trouble& each : troubles)
        if (set.contains(each.name)) result.update(nlohmann::ordered_json::parse(each.switches));
    return result;
}

std::string_view outputs_under(const trouble_set& set) {
    for (const trouble& each : troubles)
        if (set.contains(each.name)) return each.outputs;
    return "The show.";
}

} // namespace elvantris::rehearsal
