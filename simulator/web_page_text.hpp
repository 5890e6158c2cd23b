// The text of page/index.html, made at build time.
#pragma once

#include <string_view>

namespace elvantris::simulator {

extern const std::string_view web_page_text;

} // namespace elvantris::simulator
