#include "protection/protection_disk.hpp"

#include <memory>
#include <utility>

namespace elvantris::operator_control {

std::string state_path_for(const std::string& configuration_path) {
    return configuration_path + ".protection.json";
}

std::string alert_log_path_for(const std::string& configuration_path) {
    return state_path_for(configuration_path) + ".alerts.jsonl";
}

protection_disk files_beside(const std::string& configuration_path,
                             std::function<bool()> given_up) {
    const auto state = std::make_shared<state_file>(state_path_for(configuration_path));
    return {.load = [state, given_up = std::move(given_up)](
                        saved_protection& saved,
                        std::string& error) { state->load(saved, error, given_up); },
            .save = [state](const saved_protection& saved) { return state->save(saved); },
            .append = append_to(alert_log_path_for(configuration_path))};
}

} // namespace elvantris::operator_control
