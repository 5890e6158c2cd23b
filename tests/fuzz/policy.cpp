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

    saved_protection saved;
    if (!read_saved_protection(text, saved, error)) {
        require(!error.empty());
        return 0;
    }
    // What is valid survives the file, but for the event of a disabled action, which is written
    // as it stands.
    for (outbound_action& action : saved.policy.actions)
        if (!action.enabled) action.event = "backup";
    const std::string written = write_saved_protection(saved);
    if (has_value_like_key(written)) return 0;
    saved_protection again;
    require(read_saved_protection(written, again, error));
    require(write_saved_protection(again) == written);
    return 0;
}
