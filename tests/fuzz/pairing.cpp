#include "fuzz_input.hpp"
#include "json/field_scanner.hpp"
#include "key_words.hpp"
#include "systems/known_systems.hpp"
#include "systems/pairing_sync.hpp"
#include "systems/server_replies.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    const operator_control_config config = parse_operator_control_config(text);
    require(pairing_equivalent(config, config));
    require(config.systems.size() <= most_pairing_systems);
    require(config.shared_function_ids.size() <= most_shared_ids);
    const replication_status status = parse_replication_status(text);
    require(status.event_title.size() <= longest_network_text);
    merge_discovered_configs({config, config});

    // What is written reads back as the same pairing.
    const std::string object = build_operator_control_json(config, 1);
    if (!has_value_like_key(object))
        require(pairing_equivalent(parse_operator_control_config(object), config));
    const std::string spliced = splice_operator_control(text, object);
    require(spliced.empty() || spliced.find(object) != std::string::npos);

    // No show goes back without its end.
    require(!json_object_is_cut(text) || spliced.empty());
    return 0;
}
