#include "tool/check_memory.hpp"

#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "tool/json_fields.hpp"

namespace elvantris::operator_control {
namespace {

constexpr std::size_t largest_memory = 1'048'576;

} // namespace

std::string check_memory_path(const std::string& config_path) {
    return config_path + ".check.json";
}

std::string write_check_memory(const std::vector<seen_deck>& decks) {
    json_tree tree{{"decks", json_tree::array()}};
    for (const seen_deck& deck : decks)
        tree["decks"].push_back({{"serial", deck.serial}, {"name", deck.name}});
    return tree.dump();
}

std::vector<seen_deck> read_check_memory(std::string_view text) {
    std::vector<seen_deck> decks;
    const json_tree tree = read_json_tree(text);
    if (!tree.is_object()) return decks;
    for (const json_tree& deck : array_field(tree, "decks"))
        if (deck.is_object())
            decks.push_back(
                {.serial = text_field(deck, "serial"), .name = text_field(deck, "name")});
    return decks;
}

std::vector<seen_deck> load_check_memory(const std::string& config_path) {
    return read_check_memory(
        read_whole_file(check_memory_path(config_path), largest_memory).value_or(""));
}

bool save_check_memory(const std::string& config_path, const std::vector<seen_deck>& decks) {
    const std::string path = check_memory_path(config_path);
    const std::string temporary = path + ".tmp";
    if (write_whole_file(temporary, write_check_memory(decks)) == write_outcome::written &&
        replace_file(temporary, path))
        return true;
    remove_file(temporary);
    return false;
}

} // namespace elvantris::operator_control
