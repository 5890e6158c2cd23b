#include "platform/windows/tray_icon.hpp"

#include "platform/windows/program_resources.hpp"

#include <iterator>

#include <shellapi.h>

namespace elvantris::operator_control {
namespace {

constexpr UINT icon_id = 1;
static_assert(program_title.size() < std::size(NOTIFYICONDATAW{}.szTip));

NOTIFYICONDATAW icon_of(HWND window) {
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = window;
    icon.uID = icon_id;
    return icon;
}

// False if the shell refuses it now.
bool show_icon(HWND window) {
    NOTIFYICONDATAW icon = icon_of(window);
    // Without the last, this version of the icon doesn't show its tip.
    icon.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_SHOWTIP;
    icon.uCallbackMessage = tray_icon::message;
    icon.hIcon = load_program_icon(SM_CXSMICON, SM_CYSMICON);
    program_title.copy(icon.szTip, std::size(icon.szTip) - 1);
    // A shell that was too busy to answer in time may have added the icon all the same, and then
    // refuses to add it again.
    const bool shown =
        ::Shell_NotifyIconW(NIM_ADD, &icon) != 0 || ::Shell_NotifyIconW(NIM_MODIFY, &icon) != 0;
    ::DestroyIcon(icon.hIcon); // the shell keeps a copy
    icon.uVersion = NOTIFYICON_VERSION_4;
    if (shown) ::Shell_NotifyIconW(NIM_SETVERSION, &icon);
    return shown;
}

} // namespace

void tray_icon::add(HWND window) {
    window_ = window;
    const bool shown = show_icon(window);
    tries_.tried(shown, steady_now());
}

void tray_icon::add_if_missing(steady_time now) {
    if (tries_.due(now)) add(window_);
}

void tray_icon::remove() {
    NOTIFYICONDATAW icon = icon_of(window_);
    ::Shell_NotifyIconW(NIM_DELETE, &icon);
    tries_.removed();
}

} // namespace elvantris::operator_control
