#pragma once

namespace elvantris::operator_control {

// Lets the console take the UTF-8 that the program writes. Gives the system's number of how it read
// its bytes before: 0 without a console, and on a system whose consoles take UTF-8 anyway.
unsigned switch_console_to_utf8();
// Takes such a number.
void switch_console_back(unsigned before);

// Does both: the console belongs to other programs as well.
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
