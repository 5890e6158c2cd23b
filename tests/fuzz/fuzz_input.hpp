#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// libFuzzer's bytes as the text that our parsers take.
inline std::string_view as_text(const std::uint8_t* bytes, std::size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

// Ends the run with the input that broke a rule which holds for every input.
inline void require(bool holds) {
    if (!holds) __builtin_trap();
}
