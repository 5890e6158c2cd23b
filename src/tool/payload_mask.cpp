#include "tool/payload_mask.hpp"

namespace elvantris::operator_control {
namespace {

constexpr std::string_view masked_key = "payload";

json_tree mask_for(const json_tree& value) {
    if (!value.is_string()) return "masked";
    return "masked, " + std::to_string(value.get_ref<const std::string&>().size()) + " bytes";
}

} // namespace

void mask_payloads(json_tree& tree) {
    if (!tree.is_structured()) return;
    for (auto& [key, value] : tree.items()) {
        if (tree.is_object() && key == masked_key)
            value = mask_for(value);
        else
            mask_payloads(value);
    }
}

bool can_name_payload(std::string_view text) {
    return text.find(masked_key) != std::string_view::npos ||
           text.find("\\u") != std::string_view::npos;
}

std::optional<std::string> masked_text(std::string_view text) {
    json_tree tree = read_json_tree(text);
    if (tree.is_discarded()) return std::nullopt;
    if (!can_name_payload(text)) return std::string(text);
    mask_payloads(tree);
    return tree.dump(-1, ' ', false, json_tree::error_handler_t::replace);
}

} // namespace elvantris::operator_control
