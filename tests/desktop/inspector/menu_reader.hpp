#pragma once

#include <string>
#include <vector>
#include <windows.h>

// Asks the hooked thread for its open menu; the first parameter is the window that gets the answer
// with WM_COPYDATA.
inline constexpr const wchar_t* read_menu_message = L"elvantris_test_read_menu";

inline std::wstring json_text(const std::wstring& text) {
    std::wstring quoted = L"\"";
    for (const wchar_t character : text) {
        if (character == L'\r' || character == L'\n') {
            quoted += character == L'\r' ? L"\\r" : L"\\n";
            continue;
        }
        if (character == L'"' || character == L'\\') quoted += L'\\';
        quoted += character;
    }
    return quoted + L'"';
}
