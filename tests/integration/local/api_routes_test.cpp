#include "local/api_routes.hpp"

#include "integration/support/captured_output.hpp"
#include "integration/support/recording_decks.hpp"
#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(api_routes, write_a_line_for_each_request_to_route_also_for_a_refused_one) {
    const temporary_folder folder;
    controller_registry registry(folder.file("operator-control.json"));
    command_router router(registry);
    protection_service protection(registry);
    recording_decks decks;
    api_routes routes(registry, router, decks, protection);
    const std::map<std::string, std::string> lines = {
        {R"({"functionId":0,"payload":"x"})",
         "[route] request function=0 target=<auto> payloadBytes=1\n"},
        {R"({"functionId":3,"targetSerial":"X","payload":""})",
         "[route] request function=3 target=X payloadBytes=0\n"},
        {R"({"functionId":3,"payload":"\u00e9\n"})",
         "[route] request function=3 target=<auto> payloadBytes=3\n"},
        {"", "[route] request function=0 target=<auto> payloadBytes=0\n"},
    };
    for (const auto& [body, line] : lines) {
        const captured_output output;
        routes.answer({.method = "POST", .path = "/api/route", .body = body});
        EXPECT_EQ(output.text(), line) << body;
    }
}
