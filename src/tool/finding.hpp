// What is not as it should be, and what to do.
#pragma once

#include "tool/answer.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

struct finding {
    std::string id; // one word for a program, such as "armed"
    std::string sentence;
    std::string advice;
    std::vector<std::string> alerts = {}; // the program's alerts that this finding explains
};

using findings = std::vector<finding>;

} // namespace elvantris::operator_control
