#include "platform/autostart.hpp"
#include "platform/platform_app.hpp"

namespace elvantris::operator_control {
namespace {

// A desktop without a tray: there is nothing to show and nothing to be clicked.
class headless_platform_app final : public platform_app {
public:
    bool initialize(operation /*open_ui*/, operation /*open_configure*/, operation /*show_log*/,
                    operation /*exit_app*/, std::uint16_t /*ui_port*/,
                    std::string /*log_path*/) override {
        return false;
    }
    void pump_events() override {}
    void update_status(const tray_status& /*status*/) override {}
    void set_ui_port_hint(std::uint16_t /*port*/) override {}
    bool autostart_enabled() override { return operator_control::autostart_enabled(); }
    bool set_autostart(bool value) override { return operator_control::set_autostart(value); }
    void shutdown() override {}
};

} // namespace

std::unique_ptr<platform_app> create_platform_app() {
    return std::make_unique<headless_platform_app>();
}

} // namespace elvantris::operator_control
