#pragma once

#include <iostream>
#include <sstream>
#include <string>

namespace elvantris::operator_control {

// What one thread writes to standard output while this lives.
class captured_output {
public:
    captured_output() : before_(std::cout.rdbuf(text_.rdbuf())) {}
    ~captured_output() { std::cout.rdbuf(before_); }
    captured_output(const captured_output&) = delete;
    captured_output& operator=(const captured_output&) = delete;
    captured_output(captured_output&&) = delete;
    captured_output& operator=(captured_output&&) = delete;

    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* before_;
};

} // namespace elvantris::operator_control
