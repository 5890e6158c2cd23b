#include "tool/payload_mask.hpp"
#include "fuzz_input.hpp"

namespace {

using elvantris::operator_control::json_tree;

bool is_masked(const json_tree& tree) {
    if (!tree.is_structured()) return true;
    for (const auto& [key, value] : tree.items()) {
        if (tree.is_object() && key == "payload") {
            if (!value.is_string() || !value.get<std::string>().starts_with("masked")) return false;
        } else if (!is_masked(value)) {
            return false;
        }
    }
    return true;
}

} // namespace

// Whatever the files hold: no payload leaves the house, and what leaves is JSON.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const auto masked = masked_text(as_text(bytes, size));
    if (!masked) return 0;
    const json_tree tree = read_json_tree(*masked);
    require(!tree.is_discarded());
    require(is_masked(tree));
    return 0;
}
