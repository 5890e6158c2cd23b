#include "tool/support_bundle.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

std::string_view payload_sentence(bool masked) {
    return masked ? "Payloads of commands are masked; only their lengths are told."
                  : "Payloads of commands are included: --with-payloads was given.";
}

json_tree tree_of_files(const support_bundle& bundle) {
    json_tree tree = json_tree::array();
    tree.push_back({{"name", contents_name}, {"bytes", contents_of(bundle).size()}});
    for (const bundled_file& file : bundle.files)
        tree.push_back({{"name", file.name}, {"bytes", file.bytes.size()}});
    return tree;
}

json_tree tree_of_missing(const support_bundle& bundle) {
    json_tree tree = json_tree::array();
    for (const missing_part& part : bundle.missing)
        tree.push_back(
            {{"name", part.name}, {"reason", part.reason}, {"finding", part.is_finding}});
    return tree;
}

} // namespace

std::string contents_of(const support_bundle& bundle) {
    std::string text = "What Redundancy Control says of itself, for support.\nMade " +
                       bundle.moment + " by elvantris-redundancy-tool " + bundle.version + ".\n" +
                       std::string(payload_sentence(bundle.payloads_masked)) + "\n\n";
    for (const bundled_file& file : bundle.files)
        text += file.name + ": " + file.about + '\n';
    if (!bundle.missing.empty()) text += "\nNot in it:\n";
    for (const missing_part& part : bundle.missing)
        text += part.name + ": " + part.reason + '\n';
    return text;
}

std::vector<zip_entry> entries_of(const support_bundle& bundle) {
    std::vector<zip_entry> entries{{.name = contents_name, .bytes = contents_of(bundle)}};
    for (const bundled_file& file : bundle.files)
        entries.push_back({.name = file.name, .bytes = file.bytes});
    return entries;
}

tool_answer answer_bundle(const support_bundle& bundle, const std::string& path,
                          std::size_t archive_size) {
    const bool lacks = std::ranges::any_of(bundle.missing, &missing_part::is_finding);
    std::string text =
        "Written: " + path + "\n" + std::string(payload_sentence(bundle.payloads_masked)) + '\n';
    for (const missing_part& part : bundle.missing)
        if (part.is_finding) text += "- Not in it: " + part.name + ". " + part.reason + '\n';
    return {.exit = lacks ? tool_exit::findings : tool_exit::all_well,
            .text = std::move(text),
            .tree = {{"file", path},
                     {"bytes", archive_size},
                     {"payloadsMasked", bundle.payloads_masked},
                     {"contents", tree_of_files(bundle)},
                     {"missing", tree_of_missing(bundle)}}};
}

} // namespace elvantris::operator_control
