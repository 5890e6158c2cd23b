// The routes of the web application: every call that the workstation makes, and the page.
#pragma once

#include "server_state.hpp"

#include <httplib.h>

namespace elvantris::simulator {

// What a Main sends to its Backup.
constexpr const char* replicate_path = "/Simulator/Replicate";

void add_http_api(httplib::Server& server, server_state& state);

} // namespace elvantris::simulator
