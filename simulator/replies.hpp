// The bodies of the web application's replies.
#pragma once

#include "server_state.hpp"

#include <string>

namespace elvantris::simulator {

std::string configuration_reply(const server_view& server, key_spelling spelling);
std::string replication_reply(const server_view& server, key_spelling spelling);
std::string identity_reply(const server_view& server, key_spelling spelling);
std::string health_reply(const server_view& server, key_spelling spelling);

} // namespace elvantris::simulator
