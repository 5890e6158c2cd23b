// Looks at the program's tray from the Windows side, for the tests. Each call prints one JSON
// value, or ends with 1 and says why.
//   inspector window               the tray's hidden window
//   inspector menu                 the open menus
//   inspector titles               class and title of every visible window
//   inspector taskbar              its place
//   inspector send MESSAGE W L     sends a message, by number or registered name, to the window
//   inspector post MESSAGE W L     the same without waiting
//   inspector break-run-key        lets the key of what starts with the session lead nowhere
//   inspector mend-run-key         puts an empty one in its place
//   inspector delete-icon          takes the icon away behind the program's back
//   inspector hide-taskbar         lets nobody find the taskbar, as before the shell has started
//   inspector show-taskbar         ends that
//   inspector dialog               title and texts of the topmost dialog that takes input
//   inspector press ID             presses a button of it
//   inspector console              the lines in the program's console
//   inspector console-of FILE      the same for another program, by the name of its file
//   inspector clicks-select        whether a click into that console selects text
//   inspector hold FILE            waits for the file, and keeps others from moving or deleting it
#include "menu_reader.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <shellapi.h>
#include <tlhelp32.h>

// Windows' own, and the only way to delete a key that is a link.
extern "C" LONG WINAPI NtDeleteKey(HANDLE key);

namespace {

constexpr const wchar_t* tray_class = L"ElvantrisOperatorControlTrayWindow";
constexpr DWORD answer_limit_ms = 5000;
constexpr DWORD hold_limit_ms = 60000;

void print(const std::wstring& json) {
    const int length = static_cast<int>(json.size());
    std::string utf8(json.size() * 3, '\0');
    utf8.resize(static_cast<std::size_t>(
        ::WideCharToMultiByte(CP_UTF8, 0, json.data(), length, utf8.data(),
                              static_cast<int>(utf8.size()), nullptr, nullptr)));
    std::puts(utf8.c_str());
}

HWND tray_window() {
    return ::FindWindowW(tray_class, nullptr);
}

std::wstring title_of(HWND window) {
    std::wstring title(256, L'\0');
    title.resize(static_cast<std::size_t>(::GetWindowTextW(window, title.data(), 256)));
    return title;
}

std::wstring class_of(HWND window) {
    std::wstring name(256, L'\0');
    name.resize(static_cast<std::size_t>(::GetClassNameW(window, name.data(), 256)));
    return name;
}

void print_window() {
    const HWND window = tray_window();
    if (window == nullptr) return print(L"null");
    RECT place{};
    ::GetWindowRect(window, &place);
    print(L"{\"title\":" + json_text(title_of(window)) + L",\"visible\":" +
          (::IsWindowVisible(window) ? L"true" : L"false") + L",\"left\":" +
          std::to_wstring(place.left) + L",\"top\":" + std::to_wstring(place.top) + L",\"dpi\":" +
          std::to_wstring(::GetDpiForSystem()) + L"}");
}

LRESULT CALLBACK take_answer(HWND window, UINT message, WPARAM word, LPARAM data) {
    if (message != WM_COPYDATA) return ::DefWindowProcW(window, message, word, data);
    const auto* copied = reinterpret_cast<const COPYDATASTRUCT*>(data);
    print({static_cast<const wchar_t*>(copied->lpData), copied->cbData / sizeof(wchar_t)});
    ::PostQuitMessage(0);
    return TRUE;
}

int fail(const wchar_t* reason) {
    print(reason);
    return EXIT_FAILURE;
}

int print_menu() {
    WNDCLASSW description{};
    description.lpfnWndProc = take_answer;
    description.lpszClassName = L"elvantris_test_asker";
    ::RegisterClassW(&description);
    const HWND asker = ::CreateWindowW(description.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                       nullptr, nullptr, nullptr);
    const HMODULE library = ::LoadLibraryW(L"menu_reader.dll");
    if (library == nullptr) return fail(L"the reader can't be loaded");
    const HWND window = tray_window();
    if (window == nullptr) return fail(L"no hidden window");
    void* const procedure = reinterpret_cast<void*>(::GetProcAddress(library, "read_menu_hook"));
    const HHOOK hook = ::SetWindowsHookExW(WH_GETMESSAGE, reinterpret_cast<HOOKPROC>(procedure),
                                           library, ::GetWindowThreadProcessId(window, nullptr));
    ::PostMessageW(window, ::RegisterWindowMessageW(read_menu_message),
                   reinterpret_cast<WPARAM>(asker), 0);
    ::SetTimer(asker, 1, answer_limit_ms, nullptr);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_TIMER)
        ::DispatchMessageW(&message);
    ::UnhookWindowsHookEx(hook);
    return message.message == WM_TIMER ? fail(L"the program doesn't answer") : EXIT_SUCCESS;
}

BOOL CALLBACK collect_title(HWND window, LPARAM collected) {
    if (!::IsWindowVisible(window)) return TRUE;
    auto& json = *reinterpret_cast<std::wstring*>(collected);
    json += (json.size() > 1 ? L",[" : L"[") + json_text(class_of(window)) + L"," +
            json_text(title_of(window)) + L"]";
    return TRUE;
}

void print_titles() {
    std::wstring json = L"[";
    ::EnumWindows(collect_title, reinterpret_cast<LPARAM>(&json));
    print(json + L"]");
}

void print_taskbar() {
    RECT place{};
    const bool found = ::GetWindowRect(::FindWindowW(L"Shell_TrayWnd", nullptr), &place) != 0;
    if (!found) return print(L"null");
    print(L"{\"right\":" + std::to_wstring(place.right) + L",\"top\":" +
          std::to_wstring(place.top) + L",\"height\":" + std::to_wstring(place.bottom - place.top) +
          L"}");
}

void message_to_window(bool wait, wchar_t** words) {
    const UINT number = static_cast<UINT>(std::wcstoul(words[0], nullptr, 0));
    const UINT message = number != 0 ? number : ::RegisterWindowMessageW(words[0]);
    const WPARAM first = std::wcstoul(words[1], nullptr, 0);
    const auto second = static_cast<LPARAM>(std::wcstoul(words[2], nullptr, 0));
    print(std::to_wstring(wait ? ::SendMessageW(tray_window(), message, first, second)
                               : ::PostMessageW(tray_window(), message, first, second)));
}

constexpr const wchar_t* run_key = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

HKEY make_run_key(DWORD options, REGSAM access) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, run_key, 0, nullptr, options, access, nullptr, &key,
                      nullptr);
    return key;
}

void break_run_key() {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, run_key);
    const HKEY link = make_run_key(REG_OPTION_CREATE_LINK, KEY_SET_VALUE | KEY_CREATE_LINK);
    const std::wstring target = L"\\Registry\\Machine\\Software\\Nowhere\\Run";
    const LSTATUS result = ::RegSetValueExW(link, L"SymbolicLinkValue", 0, REG_LINK,
                                            reinterpret_cast<const BYTE*>(target.data()),
                                            static_cast<DWORD>(target.size() * sizeof(wchar_t)));
    ::RegCloseKey(link);
    print(result == ERROR_SUCCESS ? L"true" : L"false");
}

void mend_run_key() {
    HKEY link = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, run_key, REG_OPTION_OPEN_LINK, DELETE, &link) ==
        ERROR_SUCCESS) {
        ::NtDeleteKey(link);
        ::RegCloseKey(link);
    }
    const HKEY key = make_run_key(REG_OPTION_NON_VOLATILE, KEY_SET_VALUE);
    print(key != nullptr ? L"true" : L"false");
    ::RegCloseKey(key);
}

void delete_icon() {
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = tray_window();
    icon.uID = 1;
    print(::Shell_NotifyIconW(NIM_DELETE, &icon) ? L"true" : L"false");
}

constexpr const wchar_t* hider_class = L"elvantris_test_hider";

// Programs look for the taskbar among the windows that have no parent. It gets one for as long as
// this process runs.
int hide_taskbar() {
    WNDCLASSW description{};
    description.lpfnWndProc = ::DefWindowProcW;
    description.lpszClassName = hider_class;
    ::RegisterClassW(&description);
    const HWND hider =
        ::CreateWindowW(hider_class, L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    const HWND taskbar = ::FindWindowW(L"Shell_TrayWnd", nullptr);
    if (taskbar == nullptr || ::SetParent(taskbar, hider) == nullptr)
        return fail(L"no taskbar that can be hidden");
    print(L"true");
    std::fflush(stdout);
    ::SetTimer(hider, 1, hold_limit_ms, nullptr);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_TIMER &&
           message.message != WM_APP)
        ::DispatchMessageW(&message);
    ::SetParent(taskbar, nullptr);
    return EXIT_SUCCESS;
}

BOOL CALLBACK find_dialog(HWND window, LPARAM found) {
    if (!::IsWindowVisible(window) || !::IsWindowEnabled(window)) return TRUE;
    if (class_of(window) != L"#32770") return TRUE;
    *reinterpret_cast<HWND*>(found) = window;
    return FALSE;
}

HWND topmost_dialog() {
    HWND dialog = nullptr;
    ::EnumWindows(find_dialog, reinterpret_cast<LPARAM>(&dialog));
    return dialog;
}

// Another program's control gives its text to a message alone.
BOOL CALLBACK collect_text(HWND window, LPARAM collected) {
    if (!::IsWindowVisible(window)) return TRUE;
    std::wstring text(1024, L'\0');
    DWORD_PTR length = 0;
    ::SendMessageTimeoutW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()),
                          SMTO_ABORTIFHUNG, answer_limit_ms, &length);
    text.resize(length);
    if (text.empty()) return TRUE;
    auto& json = *reinterpret_cast<std::wstring*>(collected);
    json += (json.size() > 1 ? L"," : L"") + json_text(text);
    return TRUE;
}

void print_dialog() {
    const HWND dialog = topmost_dialog();
    if (dialog == nullptr) return print(L"null");
    std::wstring texts = L"[";
    ::EnumChildWindows(dialog, collect_text, reinterpret_cast<LPARAM>(&texts));
    print(L"{\"title\":" + json_text(title_of(dialog)) + L",\"texts\":" + texts + L"]}");
}

void press(const wchar_t* id) {
    const WPARAM command = std::wcstoul(id, nullptr, 0);
    print(::PostMessageW(topmost_dialog(), WM_COMMAND, command, 0) ? L"true" : L"false");
}

DWORD our_program() {
    DWORD process = 0;
    ::GetWindowThreadProcessId(tray_window(), &process);
    return process;
}

// The first that runs; 0 if none does.
DWORD process_named(const wchar_t* file) {
    const HANDLE processes = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    DWORD found = 0;
    for (BOOL more = ::Process32FirstW(processes, &entry); more != 0 && found == 0;
         more = ::Process32NextW(processes, &entry)) {
        if (::lstrcmpiW(entry.szExeFile, file) == 0) found = entry.th32ProcessID;
    }
    ::CloseHandle(processes);
    return found;
}

// Goes over to the console of a process; what is printed goes to a file all the same.
HANDLE enter_console(DWORD process, const wchar_t* side) {
    ::FreeConsole();
    if (::AttachConsole(process) == 0) return INVALID_HANDLE_VALUE;
    return ::CreateFileW(side, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         nullptr, OPEN_EXISTING, 0, nullptr);
}

void print_clicks_select() {
    DWORD mode = 0;
    if (!::GetConsoleMode(enter_console(our_program(), L"CONIN$"), &mode)) return print(L"null");
    print((mode & ENABLE_QUICK_EDIT_MODE) != 0 ? L"true" : L"false");
}

void print_console(DWORD process) {
    const HANDLE console = enter_console(process, L"CONOUT$");
    CONSOLE_SCREEN_BUFFER_INFO buffer{};
    if (!::GetConsoleScreenBufferInfo(console, &buffer)) return print(L"null");
    std::wstring json = L"[";
    for (SHORT row = 0; row <= buffer.dwCursorPosition.Y; ++row) {
        std::wstring line(static_cast<std::size_t>(buffer.dwSize.X), L' ');
        DWORD length = 0;
        ::ReadConsoleOutputCharacterW(console, line.data(), static_cast<DWORD>(line.size()),
                                      {0, row}, &length);
        line.resize(length);
        line.resize(line.find_last_not_of(L' ') + 1);
        json += (row > 0 ? L"," : L"") + json_text(line);
    }
    print(json + L"]");
}

void hold(const wchar_t* file) {
    const ULONGLONG deadline = ::GetTickCount64() + hold_limit_ms;
    HANDLE held = INVALID_HANDLE_VALUE;
    while (held == INVALID_HANDLE_VALUE && ::GetTickCount64() < deadline) {
        held = ::CreateFileW(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                             OPEN_EXISTING, 0, nullptr);
        ::Sleep(1);
    }
    print(held != INVALID_HANDLE_VALUE ? L"true" : L"false");
    std::fflush(stdout);
    ::Sleep(hold_limit_ms);
}

} // namespace

int main() {
    ::SetProcessDPIAware(); // places as they are on the screen
    int count = 0;
    wchar_t** const words = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    const std::wstring act = count > 1 ? words[1] : L"";
    if (act == L"menu") return print_menu();
    if (act == L"hide-taskbar") return hide_taskbar();
    if (act == L"window") {
        print_window();
    } else if (act == L"titles") {
        print_titles();
    } else if (act == L"taskbar") {
        print_taskbar();
    } else if ((act == L"send" || act == L"post") && count == 5) {
        message_to_window(act == L"send", words + 2);
    } else if (act == L"break-run-key") {
        break_run_key();
    } else if (act == L"mend-run-key") {
        mend_run_key();
    } else if (act == L"delete-icon") {
        delete_icon();
    } else if (act == L"show-taskbar") {
        const HWND hider = ::FindWindowW(hider_class, nullptr);
        print(::PostMessageW(hider, WM_APP, 0, 0) ? L"true" : L"false");
    } else if (act == L"dialog") {
        print_dialog();
    } else if (act == L"press" && count == 3) {
        press(words[2]);
    } else if (act == L"console") {
        print_console(our_program());
    } else if (act == L"console-of" && count == 3) {
        print_console(process_named(words[2]));
    } else if (act == L"clicks-select") {
        print_clicks_select();
    } else if (act == L"hold" && count == 3) {
        hold(words[2]);
    } else {
        return 2;
    }
    return EXIT_SUCCESS;
}
