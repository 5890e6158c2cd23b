#include "tool/bundle_collection.hpp"

#include "os/clock.hpp"
#include "os/file_paths.hpp"
#include "os/network_interfaces.hpp"
#include "os/process.hpp"
#include "os/settings_file.hpp"
#include "os/sockets.hpp"
#include "os/system_name.hpp"
#include "protection/protection_disk.hpp"
#include "systems/settings_place.hpp"
#include "tool/ask_program.hpp"
#include "tool/local_time.hpp"
#include "tool/log_end.hpp"
#include "tool/log_facts.hpp"
#include "tool/payload_mask.hpp"
#include "tool/tool_version.hpp"

#include <algorithm>
#include <array>
#include <thread>

namespace elvantris::operator_control {
namespace {

constexpr int kept_copies = 3; // of a settings file that could not be read
constexpr std::array looking_commands{"check", "doctor"};

std::string reason_of(read_failure failure, const std::string& path) {
    switch (failure) {
    case read_failure::missing:
        return "There is no " + path + '.';
    case read_failure::too_large:
        return path + " is too large for a settings file.";
    case read_failure::unreadable:
        break;
    }
    return path + " can't be read. Check who may read it, and whether another program holds it.";
}

std::string readable(const json_tree& tree) {
    return tree.dump(2, ' ', false, json_tree::error_handler_t::replace) + '\n';
}

class bundle_collector {
public:
    bundle_collector(const common_options& common, bool with_payloads)
        : common_(common), with_payloads_(with_payloads) {
        bundle_.payloads_masked = !with_payloads;
        bundle_.moment = local_moment(wall_clock_ms());
        bundle_.version = tool_version();
    }

    support_bundle collect() {
        const std::string& config = common_.config_path;
        add_answers();
        add_status();
        add_log("program.log", "the program's log", log_path_for(config));
        add_log("alerts.jsonl", "the alert log", alert_log_path_for(config));
        add_settings("configuration", "the configuration file", config, payloads::none);
        add_settings("protection", "the protection file", state_path_for(config),
                     payloads::possible);
        add("system.json", "versions, this computer and its network addresses",
            readable(system_facts()));
        return std::move(bundle_);
    }

private:
    enum class payloads { none, possible };

    void add(const std::string& name, const std::string& about, std::string bytes) {
        bundle_.files.push_back({.name = name, .about = about, .bytes = std::move(bytes)});
    }

    void miss(const std::string& name, const std::string& reason, bool is_finding) {
        bundle_.missing.push_back({.name = name, .reason = reason, .is_finding = is_finding});
    }

    // A settings file, or the status, which holds both.
    void add_json(const std::string& name, const std::string& about, const std::string& text,
                  payloads held) {
        if (with_payloads_) return add(name, about, text);
        if (std::optional<std::string> masked = masked_text(text))
            return add(name, about, std::move(*masked));
        // The wrong file may have been given for the configuration.
        if (held == payloads::none && !can_name_payload(text)) return add(name, about, text);
        miss(name,
             "It is damaged, so payloads in it can't be found and masked. Use --with-payloads to "
             "include it.",
             true);
    }

    void add_answers() {
        for (const sub_command& command : sub_commands()) {
            if (std::ranges::find(looking_commands, command.name) == looking_commands.end())
                continue;
            CLI::App parser;
            const tool_answer answer = command.prepare(parser)(common_);
            add(command.name + ".txt", "what " + command.name + " finds",
                answer.text + answer.remarks);
            add(command.name + ".json", "the same for a program", readable(answer.tree));
        }
    }

    void add_status() {
        constexpr const char* name = "status.json";
        const asked_program asked = ask_program(common_.config_path);
        presence_ = presence_sentence(asked.reply.presence);
        if (asked.reply.text.empty()) return miss(name, presence_, false);
        add_json(name, "what the running program says of itself", asked.reply.text,
                 payloads::possible);
        if (!asked.uses_it)
            miss("the running program's files", other_configuration_sentence(*asked.reply.status),
                 true);
    }

    void add_log(const std::string& name, const std::string& about, const std::string& path) {
        auto log = read_log_end(path, most_of_a_log);
        if (const auto* failure = std::get_if<read_failure>(&log))
            return miss(name, reason_of(*failure, path), *failure != read_failure::missing);
        auto& [text, older_left_out] = std::get<log_end>(log);
        add(name, about + ", " + path + (older_left_out ? ": its last 20 MB" : ""),
            std::move(text));
    }

    void add_settings(const std::string& name, const std::string& about, const std::string& path,
                      payloads held) {
        read_failure failure{};
        if (const auto text = read_whole_file(path, largest_settings_file, &failure))
            add_json(name + ".json", about + ", " + path, *text, held);
        else
            // Without a configuration file this may be the wrong folder.
            miss(name + ".json", reason_of(failure, path),
                 failure != read_failure::missing || held == payloads::none);
        for (int age = 1; age <= kept_copies; ++age) {
            const std::string ending = ".unreadable-" + std::to_string(age);
            add_kept_copy(name + ending, about, path + ending, held);
        }
    }

    void add_kept_copy(const std::string& name, const std::string& about, const std::string& path,
                       payloads held) {
        if (const auto text = read_whole_file(path, largest_settings_file))
            add_json(name, about + " as it could not be read, " + path, *text, held);
    }

    json_tree system_facts() const {
        json_tree facts{{"made", bundle_.moment},
                        {"toolVersion", bundle_.version},
                        {"system", system_name()},
                        {"computer", host_name()},
                        {"processors", std::thread::hardware_concurrency()},
                        {"configPath", common_.config_path},
                        {"program", presence_},
                        {"interfaces", json_tree::array()}};
        if (const auto started = last_started_version(log_path_for(common_.config_path)))
            facts["startedVersion"] = *started;
        const std::string folder = parent_folder(common_.config_path);
        if (const auto free = free_bytes(folder.empty() ? current_folder() : folder))
            facts["freeBytes"] = *free;
        for (const interface_address& each :
             list_interface_addresses().value_or(std::vector<interface_address>{}))
            facts["interfaces"].push_back({{"address", dotted_text(each.address)},
                                           {"prefixLength", each.prefix_length},
                                           {"up", each.up},
                                           {"loopback", each.loopback}});
        return facts;
    }

    const common_options& common_;
    bool with_payloads_;
    std::string presence_;
    support_bundle bundle_;
};

} // namespace

support_bundle collect_bundle(const common_options& common, bool with_payloads) {
    common_options looking = common;
    looking.writes_nothing = true;
    return bundle_collector(looking, with_payloads).collect();
}

} // namespace elvantris::operator_control
