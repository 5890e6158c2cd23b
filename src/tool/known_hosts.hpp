#pragma once

#include <set>
#include <string>

namespace elvantris::operator_control {

// Which of these hosts the name server doesn't know, or doesn't tell within a second. Numbers need
// none. Several are looked up at the same time.
std::set<std::string> unknown_among(const std::set<std::string>& hosts);

} // namespace elvantris::operator_control
