// What the local API answers.
//
// Threads: one request at a time. Failure: a malformed body reads as defaults, which the route
// judges; only the replies of the route table exist.
#pragma once

#include "decks/streamdeck_adapter.hpp"
#include "local/http_request.hpp"
#include "os/call_limits.hpp"
#include "protection/protection_service.hpp"
#include "routing/command_router.hpp"
#include "systems/controller_registry.hpp"

#include <string>
#include <string_view>

namespace elvantris::operator_control {

struct api_reply {
    int status = 200;
    std::string_view content_type = "application/json";
    std::string body;
};

class api_routes {
public:
    api_routes(controller_registry& registry, command_router& router, streamdeck_adapter& adapter,
               protection_service& protection)
        : registry_(registry), router_(router), adapter_(adapter), protection_(protection) {}

    // Method and path are compared byte for byte. Blocks for as long as the route's work takes, and
    // ends what it asks of the network when the limits are over.
    api_reply answer(const http_request& request, const call_limits& limits = {});

private:
    api_reply diagnostics_page();
    api_reply status();
    api_reply save_protection(const std::string& body);
    api_reply operate_protection(const std::string& body);
    api_reply test_protection(const std::string& body);
    api_reply discover(const call_limits& limits);
    api_reply configure(const std::string& body, const call_limits& limits);
    api_reply set_role(const std::string& body);
    api_reply set_shared(const std::string& body);
    api_reply route_command(const std::string& body);

    controller_registry& registry_;
    command_router& router_;
    streamdeck_adapter& adapter_;
    protection_service& protection_;
};

} // namespace elvantris::operator_control
