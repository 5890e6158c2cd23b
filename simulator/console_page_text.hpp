// The page that joins the servers and the decks, embedded from page/console.html.
#pragma once

#include <string_view>

namespace elvantris::simulator {

extern const std::string_view console_page_text;

} // namespace elvantris::simulator
