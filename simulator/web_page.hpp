// The server's own web interface: one page that knows its server's name.
#pragma once

#include <string>

namespace elvantris::simulator {

std::string web_page(const std::string& serial, const std::string& workstation);

} // namespace elvantris::simulator
