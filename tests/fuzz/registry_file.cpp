#include "systems/registry_file.hpp"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    registry_state state;
    read_registry_json(as_text(bytes, size), state);
    require(state.uiPort >= lowest_ui_port);
    require(!state.sharedFunctionIds.empty());
    registry_state again;
    read_registry_json(write_registry_json(state), again);
    require(again.enabled == state.enabled && again.uiPort == state.uiPort);
    require(again.systems.size() == state.systems.size());
    return 0;
}
