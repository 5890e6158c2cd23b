#pragma once

namespace elvantris::operator_control {

// Switches the console to UTF-8, which the program writes. Returns the console's previous code
// page: 0 without a console, and on a system whose consoles use UTF-8 anyway.
unsigned switch_console_to_utf8();
// Restores the code page that `switch_console_to_utf8` returned.
void switch_console_back(unsigned before);

// Switches, and switches back at the end: other programs use the console too.
class utf8_console {
public:
    utf8_console() : before_(switch_console_to_utf8()) {}
    ~utf8_console() { switch_console_back(before_); }
    utf8_console(const utf8_console&) = delete;
    utf8_console& operator=(const utf8_console&) = delete;
    utf8_console(utf8_console&&) = delete;
    utf8_console& operator=(utf8_console&&) = delete;

private:
    unsigned before_;
};

} // namespace elvantris::operator_control
