#include "tool/payload_mask.hpp"

#include <algorithm>
#include <array>

namespace elvantris::operator_control {
namespace {

constexpr std::string_view masked_key = "payload";
constexpr std::string_view commands_key = "actions";
constexpr std::array<std::string_view, 9> plain_keys{
    "name", "event", "host", "port", "transport", "delayMs", "timeoutMs", "retries", "enabled"};

json_tree mask_for(const json_tree& value) {
    if (!value.is_string()) return "masked";
    return "masked, " + std::to_string(value.get_ref<const std::string&>().size()) + " bytes";
}

// In a damaged file the key of a payload may have another letter.
void mask_unknown(json_tree& command) {
    if (!command.is_object()) return;
    for (auto& [key, value] : command.items())
        if (std::ranges::find(plain_keys, key) == plain_keys.end()) value = mask_for(value);
}

} // namespace

void mask_payloads(json_tree& tree) {
    if (!tree.is_structured()) return;
    for (auto& [key, value] : tree.items()) {
        if (tree.is_object() && key == masked_key)
            value = mask_for(value);
        else if (tree.is_object() && key == commands_key && value.is_array())
            std::ranges::for_each(value, mask_unknown);
        else
            mask_payloads(value);
    }
}

bool can_name_payload(std::string_view text) {
    const auto contains = [&](std::string_view part) {
        return text.find(part) != std::string_view::npos;
    };
    return contains(masked_key) || contains(commands_key) || contains("\\u");
}

std::optional<std::string> masked_text(std::string_view text) {
    json_tree tree = read_json_tree(text);
    if (tree.is_discarded()) return std::nullopt;
    if (!can_name_payload(text)) return std::string(text);
    mask_payloads(tree);
    return tree.dump(-1, ' ', false, json_tree::error_handler_t::replace);
}

} // namespace elvantris::operator_control
