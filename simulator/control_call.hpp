// GET and POST /simulator: what the server has received, and what is to be broken.
#pragma once

#include "control_server.hpp"
#include "simulated_server.hpp"

namespace elvantris::simulator {

class control_call {
public:
    // Opens the port. Throws port_error.
    explicit control_call(simulated_server& served);

private:
    void change(const httplib::ContentReader& reader, httplib::Response& response);

    simulated_server& served_;
    control_server server_;
};

} // namespace elvantris::simulator
