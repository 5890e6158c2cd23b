// What the program file holds for its window and its tray icon.
#pragma once

#include <string_view>
#include <windows.h>

namespace elvantris::operator_control {

constexpr std::wstring_view program_title = L"Elvantris Redundancy Control";

// In the size that the two system metrics name. The caller destroys it.
inline HICON load_program_icon(int width_metric, int height_metric) {
    constexpr WORD icon_resource = 101;
    return static_cast<HICON>(::LoadImageW(
        ::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(icon_resource), IMAGE_ICON,
        ::GetSystemMetrics(width_metric), ::GetSystemMetrics(height_metric), LR_DEFAULTCOLOR));
}

} // namespace elvantris::operator_control
