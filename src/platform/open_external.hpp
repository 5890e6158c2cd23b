#pragma once

#include <string>

namespace elvantris::operator_control {

// Opens a URL or a file with the desktop's default program, which then lives its own life. The
// text is UTF-8. Whether anything could open it is not reported.
void open_external(const std::string& target);

} // namespace elvantris::operator_control
