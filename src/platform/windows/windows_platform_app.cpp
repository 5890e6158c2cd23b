// The tray icon, its menu, and the hidden window that receives their messages.
#include "platform/autostart.hpp"
#include "platform/platform_app.hpp"
#include "platform/tray_menu.hpp"

#include "os/windows/wide_text.hpp"

#include <array>
#include <iterator>
#include <string_view>
#include <utility>
#include <windows.h>

#include <shellapi.h>

namespace elvantris::operator_control {
namespace {

constexpr WORD icon_resource = 101;
constexpr UINT tray_icon_id = 1;
constexpr UINT tray_message = WM_APP + 42;
constexpr const wchar_t* window_class = L"ElvantrisOperatorControlTrayWindow";
constexpr std::wstring_view title = L"Elvantris Redundancy Control";
static_assert(title.size() < std::size(NOTIFYICONDATAW{}.szTip));

HICON load_icon(int width_metric, int height_metric) {
    return static_cast<HICON>(::LoadImageW(
        ::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(icon_resource), IMAGE_ICON,
        ::GetSystemMetrics(width_metric), ::GetSystemMetrics(height_metric), LR_DEFAULTCOLOR));
}

// An ampersand in a server's name is no mnemonic.
std::wstring menu_text(const std::string& text) {
    std::wstring wide;
    for (const wchar_t character : to_wide(text))
        wide.append(character == L'&' ? 2 : 1, character);
    return wide;
}

void append_item(HMENU menu, const tray_menu_item& item) {
    const auto id = static_cast<UINT>(item.command);
    UINT flags = MF_STRING;
    switch (item.state) {
    case menu_item_state::separator:
        flags = MF_SEPARATOR;
        break;
    case menu_item_state::greyed:
        flags |= MF_GRAYED;
        break;
    case menu_item_state::checked:
        flags |= MF_CHECKED;
        break;
    case menu_item_state::usual:
    case menu_item_state::default_item:
        break;
    }
    ::AppendMenuW(menu, flags, id, menu_text(item.text).c_str());
    if (item.state == menu_item_state::default_item) ::SetMenuDefaultItem(menu, id, FALSE);
}

class windows_platform_app final : public platform_app {
public:
    ~windows_platform_app() override { windows_platform_app::shutdown(); }

    bool initialize(operation open_ui, operation open_configure, operation show_log,
                    operation exit_app, std::uint16_t ui_port, std::string log_path) override;
    void pump_events() override;
    void update_status(const tray_status& status) override { status_ = status; }
    void set_ui_port_hint(std::uint16_t port) override { ui_port_ = port; }
    bool autostart_enabled() override { return operator_control::autostart_enabled(); }
    bool set_autostart(bool value) override { return operator_control::set_autostart(value); }
    void shutdown() override;

private:
    static LRESULT CALLBACK window_procedure(HWND window, UINT message, WPARAM word, LPARAM data);

    LRESULT handle(HWND window, UINT message, WPARAM word, LPARAM data);
    void run_command(menu_command command);
    void show_menu();
    NOTIFYICONDATAW icon_data() const;
    void add_icon() const;

    operation open_ui_;
    operation open_configure_;
    operation show_log_;
    operation exit_app_;
    tray_status status_;
    std::uint16_t ui_port_ = 5270;
    std::string log_path_;
    HINSTANCE module_ = ::GetModuleHandleW(nullptr);
    HWND window_ = nullptr;
    UINT taskbar_created_ = 0;
    bool menu_open_ = false;
};

void call(const platform_app::operation& wanted) {
    if (wanted) wanted();
}

bool windows_platform_app::initialize(operation open_ui, operation open_configure,
                                      operation show_log, operation exit_app, std::uint16_t ui_port,
                                      std::string log_path) {
    open_ui_ = std::move(open_ui);
    open_configure_ = std::move(open_configure);
    show_log_ = std::move(show_log);
    exit_app_ = std::move(exit_app);
    ui_port_ = ui_port;
    log_path_ = std::move(log_path);
    taskbar_created_ = ::RegisterWindowMessageW(L"TaskbarCreated");

    WNDCLASSEXW description{};
    description.cbSize = sizeof description;
    description.lpfnWndProc = window_procedure;
    description.hInstance = module_;
    description.hIcon = load_icon(SM_CXICON, SM_CYICON);
    description.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
    description.lpszClassName = window_class;
    ::RegisterClassExW(&description);
    window_ = ::CreateWindowExW(0, window_class, title.data(), 0, 0, 0, 0, 0, nullptr, nullptr,
                                module_, this);
    add_icon();
    return window_ != nullptr;
}

void windows_platform_app::pump_events() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

void windows_platform_app::shutdown() {
    if (window_ == nullptr) return;
    NOTIFYICONDATAW icon = icon_data();
    ::Shell_NotifyIconW(NIM_DELETE, &icon);
    ::DestroyWindow(std::exchange(window_, nullptr));
}

NOTIFYICONDATAW windows_platform_app::icon_data() const {
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = window_;
    icon.uID = tray_icon_id;
    return icon;
}

void windows_platform_app::add_icon() const {
    if (window_ == nullptr) return;
    NOTIFYICONDATAW icon = icon_data();
    // Without the last, this version of the icon keeps its tip to itself.
    icon.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_SHOWTIP;
    icon.uCallbackMessage = tray_message;
    icon.hIcon = load_icon(SM_CXSMICON, SM_CYSMICON);
    title.copy(icon.szTip, std::size(icon.szTip) - 1);
    ::Shell_NotifyIconW(NIM_ADD, &icon);
    ::DestroyIcon(icon.hIcon); // the shell keeps a copy
    icon.uVersion = NOTIFYICON_VERSION_4;
    ::Shell_NotifyIconW(NIM_SETVERSION, &icon);
}

LRESULT CALLBACK windows_platform_app::window_procedure(HWND window, UINT message, WPARAM word,
                                                        LPARAM data) {
    if (message == WM_NCCREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(data);
        ::SetWindowLongPtrW(window, GWLP_USERDATA,
                            reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
        return ::DefWindowProcW(window, message, word, data);
    }
    auto* const app =
        reinterpret_cast<windows_platform_app*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (app == nullptr) return ::DefWindowProcW(window, message, word, data);
    return app->handle(window, message, word, data);
}

LRESULT windows_platform_app::handle(HWND window, UINT message, WPARAM word, LPARAM data) {
    if (taskbar_created_ != 0 && message == taskbar_created_) {
        add_icon();
        return 0;
    }
    switch (message) {
    case WM_DESTROY:
        return 0;
    case WM_COMMAND:
        run_command(static_cast<menu_command>(LOWORD(word)));
        return 0;
    case tray_message:
        switch (LOWORD(data)) {
        case WM_LBUTTONDBLCLK:
            call(open_ui_);
            break;
        case WM_RBUTTONUP:
        case WM_CONTEXTMENU:
            show_menu();
            break;
        default:
            break;
        }
        return 0;
    default:
        return ::DefWindowProcW(window, message, word, data);
    }
}

void windows_platform_app::run_command(menu_command command) {
    switch (command) {
    case menu_command::none:
        break;
    case menu_command::open_ui:
        call(open_ui_);
        break;
    case menu_command::open_configure:
        call(open_configure_);
        break;
    case menu_command::show_log:
        call(show_log_);
        break;
    case menu_command::toggle_autostart:
        set_autostart(!autostart_enabled());
        break;
    case menu_command::exit_app:
        call(exit_app_);
        break;
    }
}

// One right click sends two messages that each ask for the menu; the second finds it open.
void windows_platform_app::show_menu() {
    if (menu_open_) return;
    const HMENU menu = ::CreatePopupMenu();
    if (menu == nullptr) return;
    menu_open_ = true;
    for (const tray_menu_item& item : build_tray_menu(status_, autostart_enabled()))
        append_item(menu, item);
    POINT cursor{};
    ::GetCursorPos(&cursor);
    // Without it the menu would stay open when the operator clicks elsewhere.
    ::SetForegroundWindow(window_);
    ::TrackPopupMenu(menu, TPM_RIGHTBUTTON | TPM_BOTTOMALIGN, cursor.x, cursor.y, 0, window_,
                     nullptr);
    ::DestroyMenu(menu);
    menu_open_ = false;
}

} // namespace

std::unique_ptr<platform_app> create_platform_app() {
    return std::make_unique<windows_platform_app>();
}

} // namespace elvantris::operator_control
