// GET and POST /simulator: what the server has received, and what is to be broken.
#pragma once

#include "control_server.hpp"
#include "http_front.hpp"
#include "server_state.hpp"

#include <mutex>

namespace elvantris::simulator {

class control_call {
public:
    // Opens the port. Throws port_error.
    control_call(server_state& state, http_front& front);

private:
    void change(const httplib::ContentReader& reader, httplib::Response& response);

    server_state& state_;
    http_front& front_;
    std::mutex changing_; // the front: one change at a time, from the switch to the port
    control_server server_;
};

} // namespace elvantris::simulator
