#include "local/page.hpp"

namespace elvantris::operator_control {

std::string build_shell_page() {
    return "<!doctype html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\">"
           "<title>Elvantris Redundancy Control</title></head>\n<body>"
           "<h1>Elvantris Redundancy Control</h1>"
           "<p>The program is running. Its state: "
           "<a href=\"http://127.0.0.1:5251/\">diagnostics</a>.</p>"
           "</body>\n</html>";
}

} // namespace elvantris::operator_control
