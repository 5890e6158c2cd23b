// A server's replies in either spelling of their keys.
#pragma once

#include "switches.hpp"

namespace elvantris::simulator {

// Every key of the value, at any depth, with its first letter changed; `usual` changes nothing.
nlohmann::ordered_json respell(const nlohmann::ordered_json& value, key_spelling spelling);

} // namespace elvantris::simulator
