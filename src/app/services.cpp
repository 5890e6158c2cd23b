#include "app/services.hpp"

#include "app/ui_address.hpp"
#include "decks/hid_streamdeck_adapter.hpp"
#include "os/standard_streams.hpp"
#include "platform/open_external.hpp"

#include <exception>
#include <utility>

namespace elvantris::operator_control {

services::services(controller_registry& known, const std::string& log,
                   const std::function<bool()>& given_up)
    : registry(known),
      log_path(log),
      router(known),
      adapter(create_hid_streamdeck_adapter()),
      protection(known, given_up),
      api(known, router, *adapter, protection),
      decks(known, *adapter) {}

services::~services() {
    try {
        stop();
    } catch (const std::exception&) {
        // No memory to tell a server that the decks go. Each service still stops in its destructor.
        return;
    }
}

exit_code services::start(platform_app::operation exit_app) {
    if (!api.start(api_port)) {
        write_error_line("Unable to start Redundancy Control API on 127.0.0.1:" +
                         std::to_string(api_port));
        return exit_no_api_port;
    }
    if (!shell.start(registry.ui_port())) {
        write_error_line("Unable to start Redundancy Control shell on 127.0.0.1:" +
                         std::to_string(registry.ui_port()));
        return exit_no_ui_port;
    }
    registry.set_runtime_ui_port(shell.port());
    protection.start();
    if (!adapter->start()) write_error_line("[streamdeck] unable to initialize native HID backend");
    decks.start();

    const auto open_page = [this](bool configure) {
        open_external(ui_address(registry.ui_port(), configure));
    };
    platform = create_platform_app();
    platform->initialize([open_page] { open_page(false); }, [open_page] { open_page(true); },
                         [this] { open_external(log_path); }, std::move(exit_app),
                         registry.ui_port(), log_path);
    return exit_normal;
}

void services::stop() {
    if (platform) platform->shutdown();
    protection.stop();
    decks.stop();
    adapter->stop();
    shell.stop();
    api.stop();
}

} // namespace elvantris::operator_control
