#include "app/second_instance.hpp"

#include "app/ui_address.hpp"
#include "os/clock.hpp"
#include "os/sockets.hpp"
#include "platform/open_external.hpp"

#include <algorithm>
#include <thread>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds wait_limit{2500};
constexpr milliseconds pause_between_tries{100};

void wait_for_page(std::uint16_t port) {
    const steady_time deadline = steady_now() + wait_limit;
    while (steady_now() < deadline) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_now());
        if (knock_on_loopback(port, std::max(left, milliseconds::zero()))) return;
        std::this_thread::sleep_for(pause_between_tries);
    }
}

} // namespace

void give_way_to_first_instance(const launch_options& options,
                                const controller_registry& registry) {
    if (options.background && !options.configure) return;
    wait_for_page(registry.ui_port());
    open_external(ui_address(registry.ui_port(), options.configure));
}

} // namespace elvantris::operator_control
