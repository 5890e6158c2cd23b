// The page of page/, joined into one text when the program is built.
#pragma once

#include <string_view>

namespace elvantris::rehearsal {

extern const std::string_view page_text;

} // namespace elvantris::rehearsal
