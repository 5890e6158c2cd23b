#include "fuzz_input.hpp"
#include "key_words.hpp"
#include "systems/registry_state.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    registry_state state;
    read_registry_json(as_text(bytes, size), state);
    require(state.uiPort >= lowest_ui_port);
    require(!state.sharedFunctionIds.empty());
    const std::string written = write_registry_json(state);
    if (has_value_like_key(written)) return 0;
    registry_state again;
    read_registry_json(written, again);
    require(again.enabled == state.enabled && again.uiPort == state.uiPort);
    require(again.systems.size() == state.systems.size());
    return 0;
}
