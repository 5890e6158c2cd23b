#include "local/api_server.hpp"

#include "local/http_reply.hpp"
#include "local/http_request.hpp"

namespace elvantris::operator_control {
namespace {

// The status and the operator's acts come here, so it may use more of the descriptors than the
// page.
constexpr loopback_limits api_limits{.backlog = 16, .connections = 64, .spare_descriptors = 32};

} // namespace

api_server::api_server(controller_registry& registry, command_router& router,
                       streamdeck_adapter& adapter, protection_service& protection)
    : routes_(registry, router, adapter, protection),
      server_(api_limits,
              [this](const loopback_connection& connection) { serve(connection.socket); }) {}

void api_server::serve(const socket_handle& connection) {
    http_request request;
    if (!read_http_request(connection, server_.running(), request)) return;
    const api_reply reply =
        routes_.answer(request, {.given_up = [this] { return !server_.running(); }});
    write_http_reply(connection, server_.running(), reply.status, reply.content_type, reply.body);
}

} // namespace elvantris::operator_control
