// What can go wrong with a server, in the words of a show.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <set>
#include <span>
#include <string>
#include <string_view>

namespace elvantris::rehearsal {

struct trouble {
    std::string_view name;     // in the page's requests
    std::string_view words;    // on its switch
    std::string_view outputs;  // what the server's outputs then show
    std::string_view switches; // of the simulated server, as JSON
};

// The worst for the audience first.
std::span<const trouble> all_troubles();

// The troubles of one server, by their names.
using trouble_set = std::set<std::string, std::less<>>;

// Adds or removes a trouble. A stopped engine cannot be starting, so the later one replaces the
// earlier. False if there is no such trouble; the set is then unchanged.
bool change_troubles(trouble_set& set, std::string_view name, bool on);

// The body of the control call that gives a simulated server these troubles.
nlohmann::ordered_json switches_for(const trouble_set& set);

// A sentence.
std::string_view outputs_under(const trouble_set& set);

} // namespace elvantris::rehearsal
