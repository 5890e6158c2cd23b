// Texts on their way between JSON and the calls of the library.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace elvantris::simulator {

// From UTF-8; a byte that is none stands for itself.
std::wstring to_wide(std::string_view text);

std::string to_hex(std::string_view bytes);

// Nothing if it is not pairs of digits, of either case.
std::optional<std::string> from_hex(std::string_view text);

} // namespace elvantris::simulator
