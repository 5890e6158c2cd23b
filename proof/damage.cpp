// Damages both files of settings in every way of one kind, loads each with the program's own code
// and sees what it makes of it. Prints one JSON object; ends with 1 if a rule is broken.
//   proof_damage
// The rules: docs/reliability.md. Files are made in the temporary folder.
#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "json/object_writer.hpp"
#include "os/files.hpp"
#include "proof/saved_show.hpp"
#include "protection/state_file.hpp"
#include "systems/controller_registry.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control::proof {
namespace {

// A setting by its name in the file, as text.
struct setting {
    std::string name;
    std::string value;
    bool operator==(const setting&) const = default;
};
using settings = std::vector<setting>;

struct loaded {
    settings found;
    std::string refusal; // the sentence that the operator reads
};

// One of the two files: how it is written, loaded, and saved again.
struct settings_kind {
    std::string name;
    std::string text;
    loaded (*load_and_save)(const std::string& path);
    std::vector<std::string> hold; // the settings that make up the hold
};

struct counts {
    std::uint64_t all = 0;
    std::uint64_t same = 0;            // as if nothing were wrong
    std::uint64_t told = 0;            // reported, and kept beside its name
    std::uint64_t refused = 0;         // the policy breaks a rule, which the operator reads
    std::uint64_t changed = 0;         // well formed, and one setting says something else
    std::uint64_t hold_for_others = 0; // of these: the hold names another server
    std::uint64_t broken = 0;
    std::string example; // the first that broke a rule
    double slowest_ms = 0;
};

std::string whole_file(const std::string& path) {
    return read_whole_file(path, largest_settings_file).value_or("");
}

std::string list_text(const std::vector<std::string>& parts) {
    std::string all;
    for (const std::string& part : parts)
        all += part + '\n';
    return all;
}

settings settings_of(const saved_protection& saved) {
    const protection_policy& policy = saved.policy;
    protection_policy rules_alone;
    rules_alone.outputRules = policy.outputRules;
    protection_policy actions_alone;
    actions_alone.actions = policy.actions;
    const auto number = [](std::uint32_t value) { return std::to_string(value); };
    const auto flag = [](bool value) { return std::string(json_bool(value)); };
    return {{"armed", flag(policy.armed)},
            {"audible", flag(policy.audible)},
            {"lossMs", number(policy.lossMs)},
            {"stallMs", number(policy.stallMs)},
            {"outputMs", number(policy.outputMs)},
            {"startupMs", number(policy.startupMs)},
            {"server", number(policy.server)},
            {"engine", number(policy.engine)},
            {"responsive", number(policy.responsive)},
            {"frames", number(policy.frames)},
            {"sync", number(policy.sync)},
            {"clock", number(policy.clock)},
            {"resources", number(policy.resources)},
            {"outputRules", write_policy(rules_alone)},
            {"actions", write_policy(actions_alone)},
            {"heldOnBackup", flag(saved.heldOnBackup)},
            {"pairMain", saved.pairMain},
            {"pairBackup", saved.pairBackup}};
}

loaded load_and_save_state(const std::string& path) {
    state_file file(path);
    saved_protection saved;
    loaded result;
    file.load(saved, result.refusal);
    result.found = settings_of(saved);
    if (!file.save(saved)) result.refusal = "save failed";
    return result;
}

loaded load_and_save_registry(const std::string& path) {
    controller_registry registry(path);
    registry.load();
    std::vector<std::string> systems;
    for (const system_record& system : registry.systems())
        systems.push_back(system.serial + '|' + system.workstation + '|' + system.address + '|' +
                          std::to_string(system.webPort) + '|' +
                          std::string(role_word(system.role)) + '|' + system.backupForSerial);
    std::vector<std::string> ids;
    for (const std::int32_t id : registry.shared_function_ids())
        ids.push_back(std::to_string(id));
    const auto flag = [](bool value) { return std::string(json_bool(value)); };
    const settings found{{"enabled", flag(registry.enabled())},
                         {"controllerConfigured", flag(registry.controller_configured())},
                         {"uiPort", std::to_string(registry.ui_port())},
                         {"openBrowserOnStart", flag(registry.open_browser_on_start())},
                         {"systems", list_text(systems)},
                         {"sharedFunctionIds", list_text(ids)}};
    registry.save();
    return {.found = found, .refusal = ""};
}

class damaged_files {
public:
    explicit damaged_files(settings_kind kind) : kind_(std::move(kind)) {
        intact_ = load(kind_.text).found;
    }

    void try_one(const std::string& text, const std::string& damage) {
        ++counts_.all;
        const auto begun = std::chrono::steady_clock::now();
        const captured_log log;
        const loaded result = load(text);
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now() - begun;
        counts_.slowest_ms = std::max(counts_.slowest_ms, taken.count());
        if (const char* const rule = broken_rule(text, result, !log.error().empty())) {
            ++counts_.broken;
            if (counts_.example.empty()) counts_.example = kind_.name + ", " + damage + ": " + rule;
        }
    }

    const counts& counted() const { return counts_; }

private:
    loaded load(const std::string& text) {
        std::filesystem::remove(kept_);
        write_whole_file(path_, text);
        return kind_.load_and_save(path_);
    }

    // The rule that this outcome breaks, if it breaks one. Counts it otherwise.
    const char* broken_rule(const std::string& text, const loaded& result, bool told) {
        if (result.refusal == "save failed") return "it can't be replaced";
        if (told) {
            ++counts_.told;
            return whole_file(kept_) == text ? nullptr : "it is told of and not kept";
        }
        if (!result.refusal.empty()) {
            ++counts_.refused;
            return nullptr;
        }
        std::vector<std::string> changed;
        for (std::size_t i = 0; i < intact_.size(); ++i)
            if (intact_[i] != result.found[i]) changed.push_back(intact_[i].name);
        if (changed.empty()) {
            ++counts_.same;
            return nullptr;
        }
        ++counts_.changed;
        if (changed.size() > 1) return "several settings are lost without a word";
        if (!std::ranges::count(kind_.hold, changed.front())) return nullptr;
        ++counts_.hold_for_others;
        return names_a_server(result, changed.front()) ? nullptr
                                                       : "the hold is lost without a word";
    }

    // Damage inside a serial makes another serial; nothing in the file can tell them apart.
    static bool names_a_server(const loaded& result, const std::string& name) {
        const auto found = std::ranges::find(result.found, name, &setting::name);
        return name != "heldOnBackup" && !found->value.empty();
    }

    settings_kind kind_;
    temporary_folder folder_;
    std::string path_ = folder_.file("operator-control.json");
    std::string kept_ = path_ + ".unreadable-1";
    settings intact_;
    counts counts_;
};

counts truncated(const settings_kind& kind) {
    damaged_files files(kind);
    for (std::size_t size = 0; size < kind.text.size(); ++size)
        files.try_one(kind.text.substr(0, size), "cut after " + std::to_string(size) + " bytes");
    return files.counted();
}

counts with_flipped_bits(const settings_kind& kind) {
    damaged_files files(kind);
    for (std::size_t bit = 0; bit < 8 * kind.text.size(); ++bit) {
        std::string text = kind.text;
        text[bit / 8] = static_cast<char>(text[bit / 8] ^ (1 << bit % 8));
        files.try_one(text, "bit " + std::to_string(bit % 8) + " of byte " +
                                std::to_string(bit / 8) + ", " + text.substr(bit / 8, 1) +
                                " before " + kind.text.substr(bit / 8 + 1, 12));
    }
    return files.counted();
}

std::string write_counts(const std::string& what, const counts& counted) {
    return json_object_writer()
        .text("what", what)
        .number("all", counted.all)
        .number("same", counted.same)
        .number("told", counted.told)
        .number("refused", counted.refused)
        .number("changed", counted.changed)
        .number("hold_for_others", counted.hold_for_others)
        .number("broken", counted.broken)
        .text("example", counted.example)
        .json("slowest_ms", std::to_string(counted.slowest_ms))
        .written();
}

int run() {
    const std::vector<settings_kind> kinds{
        {"protection state",
         write_saved_protection(held_protection()),
         load_and_save_state,
         {"heldOnBackup", "pairMain", "pairBackup"}},
        {"configuration", write_registry_json(paired_registry()), load_and_save_registry, {}}};
    std::vector<std::string> written;
    std::uint64_t broken = 0;
    for (const settings_kind& kind : kinds) {
        const counts cut = truncated(kind);
        const counts flipped = with_flipped_bits(kind);
        written.push_back(write_counts(kind.name + ", cut short", cut));
        written.push_back(write_counts(kind.name + ", one bit flipped", flipped));
        broken += cut.broken + flipped.broken;
    }
    const std::string text = json_array(written, [](const std::string& one) { return one; });
    std::printf("%s\n", text.c_str());
    return broken == 0 ? 0 : 1;
}

} // namespace
} // namespace elvantris::operator_control::proof

int main() {
    return elvantris::operator_control::proof::run();
}
