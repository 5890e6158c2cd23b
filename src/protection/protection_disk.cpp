#include "protection/protection_disk.hpp"

#include <memory>
#include <utility>

namespace elvantris::operator_control {

protection_disk files_beside(const std::string& configuration_path,
                             std::function<bool()> given_up) {
    const auto state = std::make_shared<state_file>(configuration_path + ".protection.json");
    return {.load = [state, given_up = std::move(given_up)](
                        protection_memory& memory,
                        std::string& error) { state->load(memory, error, given_up); },
            .save = [state](const protection_memory& memory) { return state->save(memory); },
            .append = append_to(state->path() + ".alerts.jsonl")};
}

} // namespace elvantris::operator_control
