#pragma once

#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Form encoding: a blank becomes +, all but letters, digits and -._~ become %XX. Pure.
std::string url_encode_form(std::string_view text);

} // namespace elvantris::operator_control
