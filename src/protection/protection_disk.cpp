#include "protection/protection_disk.hpp"

#include <memory>

namespace elvantris::operator_control {

protection_disk files_beside(const std::string& configuration_path) {
    const auto state = std::make_shared<state_file>(configuration_path + ".protection.json");
    return {.load = [state](protection_memory& memory,
                            std::string& error) { state->load(memory, error); },
            .save = [state](const protection_memory& memory) { return state->save(memory); },
            .append = append_to(state->path() + ".alerts.jsonl")};
}

} // namespace elvantris::operator_control
