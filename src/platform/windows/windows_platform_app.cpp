// The tray icon's menu, and the hidden window that receives the messages of both.
#include "platform/windows/windows_platform_app.hpp"

#include "os/windows/wide_text.hpp"
#include "platform/autostart.hpp"
#include "platform/tray_menu.hpp"
#include "platform/windows/program_resources.hpp"
#include "platform/windows/tray_icon.hpp"

#include <utility>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr const wchar_t* window_class = L"ElvantrisOperatorControlTrayWindow";

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

// True for as long as this lives.
class raised_flag {
public:
    explicit raised_flag(bool& flag) : flag_(flag) { flag_ = true; }
    ~raised_flag() { flag_ = false; }
    raised_flag(const raised_flag&) = delete;
    raised_flag& operator=(const raised_flag&) = delete;
    raised_flag(raised_flag&&) = delete;
    raised_flag& operator=(raised_flag&&) = delete;

private:
    bool& flag_;
};

void CALLBACK close_menu(HWND /*window*/, UINT /*message*/, UINT_PTR /*timer*/, DWORD /*time*/) {
    ::EndMenu();
}

class windows_platform_app final : public platform_app {
public:
    explicit windows_platform_app(milliseconds menu_limit) : menu_limit_(menu_limit) {}
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
    void leave();

    milliseconds menu_limit_;
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
    tray_icon icon_;
    bool menu_open_ = false;
    bool pumping_ = false;
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
    description.hIcon = load_program_icon(SM_CXICON, SM_CYICON);
    description.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
    description.lpszClassName = window_class;
    ::RegisterClassExW(&description);
    window_ = ::CreateWindowExW(0, window_class, program_title.data(), 0, 0, 0, 0, 0, nullptr,
                                nullptr, module_, this);
    if (window_ != nullptr) icon_.add(window_);
    return window_ != nullptr;
}

void windows_platform_app::pump_events() {
    // A message's handler may call this again. The outer call then handles the other messages.
    if (pumping_) return;
    const raised_flag pumping(pumping_);
    icon_.add_if_missing(steady_now());
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

void windows_platform_app::shutdown() {
    if (window_ == nullptr) return;
    icon_.remove();
    ::DestroyWindow(std::exchange(window_, nullptr));
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
        icon_.add(window);
        return 0;
    }
    switch (message) {
    case WM_DESTROY:
        return 0;
    case WM_CLOSE:
        leave();
        return 0;
    case WM_ENDSESSION:
        if (word != FALSE) leave(); // else the end was cancelled
        return 0;
    case WM_COMMAND:
        run_command(static_cast<menu_command>(LOWORD(word)));
        return 0;
    case tray_icon::message:
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
        leave();
        break;
    }
}

void windows_platform_app::leave() {
    call(exit_app_);
    // The main loop can't end before the menu has closed.
    if (menu_open_) ::EndMenu();
}

// One right click sends two messages that each ask for the menu; the second finds it open.
void windows_platform_app::show_menu() {
    if (menu_open_) return;
    const HMENU menu = ::CreatePopupMenu();
    if (menu == nullptr) return;
    const raised_flag open(menu_open_);
    for (const tray_menu_item& item : build_tray_menu(status_, autostart_enabled()))
        append_item(menu, item);
    POINT cursor{};
    ::GetCursorPos(&cursor);
    // Without it the menu would stay open when the operator clicks elsewhere.
    ::SetForegroundWindow(window_);
    const auto limit_ms = static_cast<UINT>(menu_limit_.count());
    const UINT_PTR limit = ::SetTimer(nullptr, 0, limit_ms, close_menu);
    ::TrackPopupMenu(menu, TPM_RIGHTBUTTON | TPM_BOTTOMALIGN, cursor.x, cursor.y, 0, window_,
                     nullptr);
    ::KillTimer(nullptr, limit);
    ::DestroyMenu(menu);
}

} // namespace

std::unique_ptr<platform_app> create_windows_platform_app(milliseconds menu_limit) {
    return std::make_unique<windows_platform_app>(menu_limit);
}

std::unique_ptr<platform_app> create_platform_app() {
    return create_windows_platform_app(std::chrono::minutes(1));
}

} // namespace elvantris::operator_control
