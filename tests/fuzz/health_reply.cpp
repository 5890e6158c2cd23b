#include "fuzz_input.hpp"
#include "protection/server_health.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view body = as_text(bytes, size);
    if (const auto health = read_health_reply(body, "MAIN", 1500, steady_time{})) {
        require(health->reachable && health->supported);
        require(health->outputs.front() == '[' && health->outputs.back() == ']');
    }
    if (const auto health = read_identity_reply(body, "MAIN", steady_time{}))
        require(health->reachable && !health->supported);
    return 0;
}
