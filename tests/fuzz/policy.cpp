#include "protection/policy.hpp"
#include "fuzz_input.hpp"
#include "key_words.hpp"
#include "protection/command_escapes.hpp"
#include "protection/state_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    std::string command;
    std::string error;
    if (decode_command_escapes(text, command, error))
        require(!command.empty() && command.size() <= 16384);

    protection_memory memory;
    if (!read_memory(text, memory, error)) {
        require(!error.empty());
        return 0;
    }
    // A valid memory survives the file, but for the event of a disabled action, which is written
    // as it stands.
    for (outbound_action& action : memory.policy.actions)
        if (!action.enabled) action.event = "backup";
    const std::string written = write_memory(memory);
    if (has_value_like_key(written)) return 0;
    protection_memory again;
    require(read_memory(written, again, error));
    require(write_memory(again) == written);
    return 0;
}
