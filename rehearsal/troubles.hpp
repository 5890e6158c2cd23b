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

// The gravest for the audience first.
std::span<const trouble> all_troubles();

// The troubles of one server, by their names.
using trouble_set = std::set<std::string, std::less<>>;

// With one more, or one less. A stopped engine cannot be starting: the later one replaces the
// earlier. False: there is no such trouble, and the set stays as it is.
bool change_troubles(trouble_set& set, std::string_view name, bool on);

// The control call that makes a simulated server so.
nlohmann::ordered_json switches_for(const trouble_set& set);

// A sentence.
std::string_view outputs_under(const trouble_set& set);

} // namespace elvantris::rehearsal
