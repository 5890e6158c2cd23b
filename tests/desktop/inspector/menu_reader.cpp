// Reads the menu that is open in another program, from inside: no other process may see it.
// inspector.exe hooks this library into the thread that owns the tray's window.
#include "menu_reader.hpp"

namespace {

constexpr UINT mn_gethmenu = 0x01E1;

// The open menus of this thread, the topmost first.
BOOL CALLBACK collect_menu(HWND window, LPARAM collected) {
    std::wstring name(16, L'\0');
    name.resize(static_cast<std::size_t>(::GetClassNameW(window, name.data(), 16)));
    if (name == L"#32768" && ::IsWindowVisible(window))
        reinterpret_cast<std::vector<HWND>*>(collected)->push_back(window);
    return TRUE;
}

const wchar_t* word(bool value) {
    return value ? L"true" : L"false";
}

std::wstring item_json(HMENU menu, UINT position) {
    std::wstring text(512, L'\0');
    MENUITEMINFOW item{};
    item.cbSize = sizeof item;
    item.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_ID | MIIM_STRING;
    item.dwTypeData = text.data();
    item.cch = static_cast<UINT>(text.size());
    ::GetMenuItemInfoW(menu, position, TRUE, &item);
    text.resize(item.fType == MFT_SEPARATOR ? 0 : item.cch);
    RECT place{};
    ::GetMenuItemRect(nullptr, menu, position, &place);
    return L"{\"text\":" + json_text(text) + L",\"id\":" + std::to_wstring(item.wID) +
           L",\"separator\":" + word(item.fType == MFT_SEPARATOR) + L",\"greyed\":" +
           word((item.fState & MFS_GRAYED) != 0) + L",\"checked\":" +
           word((item.fState & MFS_CHECKED) != 0) + L",\"preset\":" +
           word((item.fState & MFS_DEFAULT) != 0) + L",\"x\":" +
           std::to_wstring((place.left + place.right) / 2) + L",\"y\":" +
           std::to_wstring((place.top + place.bottom) / 2) + L"}";
}

std::wstring menus_json() {
    std::vector<HWND> windows;
    ::EnumThreadWindows(::GetCurrentThreadId(), collect_menu, reinterpret_cast<LPARAM>(&windows));
    std::wstring json = L"{\"open\":" + std::to_wstring(windows.size()) + L",\"items\":[";
    if (!windows.empty()) {
        auto* const menu =
            reinterpret_cast<HMENU>(::SendMessageW(windows.front(), mn_gethmenu, 0, 0));
        const int count = ::GetMenuItemCount(menu);
        for (int position = 0; position < count; ++position)
            json += (position > 0 ? L"," : L"") + item_json(menu, static_cast<UINT>(position));
    }
    return json + L"]}";
}

void answer(HWND asker) {
    std::wstring json = menus_json();
    COPYDATASTRUCT data{};
    data.cbData = static_cast<DWORD>(json.size() * sizeof(wchar_t));
    data.lpData = json.data();
    ::SendMessageW(asker, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
}

} // namespace

// Called for each message that the thread takes from its queue.
extern "C" __declspec(dllexport) LRESULT CALLBACK
    read_menu_hook(int code, WPARAM removed, LPARAM data) {
    const auto* message = reinterpret_cast<const MSG*>(data);
    if (code == HC_ACTION && removed == PM_REMOVE &&
        message->message == ::RegisterWindowMessageW(read_menu_message))
        answer(reinterpret_cast<HWND>(message->wParam));
    return ::CallNextHookEx(nullptr, code, removed, data);
}
