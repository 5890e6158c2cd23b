// The rehearsal's page, on a loopback port of its own.
//
//   GET /        the page
//   GET /state   all that it shows, as one JSON object
//   POST /act    {"act":"trouble","serial","trouble","on"}, {"act":"begin","scenario"},
//                {"act":"end"} or {"act":"forget"}; answers like /state,
//                with "refused": why a scenario can't
//                begin now, in a sentence. 400 and {"error"} for anything else.
#pragma once

#include "rehearsal/director.hpp"

#include "control_server.hpp"

namespace elvantris::rehearsal {

inline constexpr std::uint16_t page_port = 5290;

class page_server {
public:
    // Opens the port. Throws port_error.
    page_server(stage& where, director& leader);

private:
    nlohmann::ordered_json state() const;
    void act(const std::string& body, httplib::Response& response);
    // Returns why it can't be done now; empty if it was done.
    std::string perform(const nlohmann::json& request);
    void change_trouble(const nlohmann::json& request);

    stage& stage_;
    director& director_;
    simulator::control_server server_;
};

} // namespace elvantris::rehearsal
