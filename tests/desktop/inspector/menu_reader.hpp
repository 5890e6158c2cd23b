#pragma once

#include <vector>
#include <windows.h>

// Asks the hooked thread for its open menu; the first parameter is the window that gets the answer
// with WM_COPYDATA.
inline constexpr const wchar_t* read_menu_message = L"elvantris_test_read_menu";
