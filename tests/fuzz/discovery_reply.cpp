#include "fuzz_input.hpp"
#include "systems/discovery.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const auto server = parse_discovery_reply(as_text(bytes, size), 0x0A4D000BU);
    if (!server) return 0;
    require(server->address == "10.77.0.11");
    require(server->workstation.find(',') == std::string::npos);
    require(server->serial.find(',') == std::string::npos);
    return 0;
}
