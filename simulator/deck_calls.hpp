// The routes by which workstations offer their decks and get them drawn.
#pragma once

#include "server_state.hpp"

#include <httplib.h>

namespace elvantris::simulator {

void add_deck_calls(httplib::Server& server, server_state& state);

} // namespace elvantris::simulator
