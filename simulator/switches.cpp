#include "switches.hpp"

#include <algorithm>
#include <string_view>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

constexpr std::int64_t largest_answer_bytes = 134'217'728;
constexpr std::int64_t longest_delay_ms = 60'000;
constexpr std::int64_t most_discovery_copies = 2'000;
constexpr std::int64_t most_flood_per_second = 200'000;
constexpr std::int64_t most_flood_serials = 1'000'000;
constexpr std::int64_t most_flood_addresses = 100;
constexpr std::int64_t longest_flood_name = 1'900; // a reply has at most 2047 bytes
constexpr std::int64_t most_configuration_systems = 300'000;
constexpr std::int64_t any_number = std::int64_t{1} << 62;

const ordered_json& default_switches() {
    static const ordered_json document = ordered_json::parse(R"json({
        "reportedSerial": null,
        "engine": "running",
        "frames": "moving",
        "frameAgeMs": null,
        "channelCount": 2,
        "telemetry": true,
        "outputs": [
            {"id": "out-1", "name": "Projector Left", "available": true, "known": true},
            {"id": "out-2", "name": "Projector Right", "available": true, "known": true}
        ],
        "clock": {"engaged": false, "healthy": true},
        "resources": {"known": true, "memoryAvailablePercent": 62, "cpuPercent": 18,
                      "gpuTemperature": 55},
        "replication": {"paused": false, "behind": 0, "revision": null, "appliedRevision": null,
                        "pendingMedia": 0, "lastError": "", "titleControlBytes": 0,
                        "errorControlBytes": 0},
        "configurationSystems": 0,
        "healthVersion": 1,
        "healthCall": true,
        "cable": "plugged",
        "httpPort": "open",
        "discovery": {"silent": false, "copies": 1, "replies": null, "flood": null},
        "decks": {"useSplash": false, "pages": 3, "emptyKeys": [], "brokenKeys": []},
        "spelling": {},
        "faults": {}
    })json");
    return document;
}

// Reads the fields of one object, and at the end refuses those that nobody asked for.
class object_reader {
public:
    object_reader(const ordered_json& object, std::string name)
        : object_(object), name_(std::move(name)) {
        if (!object.is_object()) throw switch_error(name_ + " must be an object");
    }

    const ordered_json* find(const char* key) {
        known_.emplace_back(key);
        const auto found = object_.find(key);
        return found == object_.end() || found->is_null() ? nullptr : &*found;
    }

    bool flag(const char* key) {
        const ordered_json* value = find(key);
        if (value == nullptr) return false;
        if (!value->is_boolean()) throw wrong(key, "true or false");
        return value->get<bool>();
    }

    std::optional<std::int64_t> optional_number(const char* key, std::int64_t low,
                                                std::int64_t high) {
        const ordered_json* value = find(key);
        if (value == nullptr) return std::nullopt;
        if (!value->is_number_integer()) throw wrong(key, "a whole number");
        const auto number = value->get<std::int64_t>();
        if (number < low || number > high)
            throw wrong(key, "from " + std::to_string(low) + " to " + std::to_string(high));
        return number;
    }

    std::int64_t number(const char* key, std::int64_t low, std::int64_t high) {
        return optional_number(key, low, high).value_or(0);
    }

    std::optional<std::string> optional_text(const char* key) {
        const ordered_json* value = find(key);
        if (value == nullptr) return std::nullopt;
        if (!value->is_string()) throw wrong(key, "a text");
        return value->get<std::string>();
    }

    template<class word>
    word one_of(const char* key, const std::map<std::string_view, word>& words) {
        const auto text = optional_text(key);
        const auto found = words.find(text.value_or(""));
        if (found != words.end()) return found->second;
        std::string list;
        for (const auto& each : words)
            list += (list.empty() ? "" : ", ") + std::string(each.first);
        throw wrong(key, "one of " + list);
    }

    void finish() const {
        for (const auto& [key, value] : object_.items()) {
            if (std::find(known_.begin(), known_.end(), key) == known_.end())
                throw switch_error("unknown: " + name_ + "." + key);
        }
    }

private:
    switch_error wrong(const char* key, const std::string& expected) const {
        return switch_error(name_ + "." + key + " must be " + expected);
    }

    const ordered_json& object_;
    std::string name_;
    std::vector<std::string> known_;
};

answer_fault read_fault(const ordered_json& document, const std::string& path) {
    object_reader reader(document, "faults[" + path + "]");
    answer_fault fault;
    fault.times = reader.number("times", 0, any_number);
    fault.hang = reader.flag("hang");
    fault.delay_ms = reader.number("delayMs", 0, longest_delay_ms);
    fault.raw = reader.optional_text("raw");
    if (const auto status = reader.optional_number("status", 0, 999))
        fault.status = static_cast<int>(*status);
    fault.body = reader.optional_text("body");
    fault.fill_to_bytes = reader.number("fillToBytes", 0, largest_answer_bytes);
    fault.pad_to_bytes = reader.number("padToBytes", 0, largest_answer_bytes);
    fault.header_pad_bytes = reader.number("headerPadBytes", 0, largest_answer_bytes);
    fault.chunk_bytes = reader.number("chunkBytes", 0, largest_answer_bytes);
    fault.trickle_bytes = reader.number("trickleBytes", 0, largest_answer_bytes);
    fault.trickle_every_ms = reader.number("trickleEveryMs", 0, longest_delay_ms);
    fault.trickle_body_only = reader.flag("trickleBodyOnly");
    fault.cut_after_bytes = reader.optional_number("cutAfterBytes", 0, largest_answer_bytes);
    fault.stall_after_bytes = reader.optional_number("stallAfterBytes", 0, largest_answer_bytes);
    fault.reset = reader.flag("reset");
    reader.finish();
    return fault;
}

void read_health(object_reader& reader, switches& result) {
    result.reported_serial = reader.optional_text("reportedSerial");
    result.engine =
        reader.one_of<engine_state>("engine", {{"running", engine_state::running},
                                               {"starting", engine_state::starting},
                                               {"unresponsive", engine_state::unresponsive},
                                               {"stopped", engine_state::stopped}});
    result.frames_frozen = reader.one_of<bool>("frames", {{"moving", false}, {"frozen", true}});
    result.frame_age_ms = reader.optional_number("frameAgeMs", -any_number, any_number);
    result.channel_count = reader.number("channelCount", 0, 100);
    result.telemetry = reader.flag("telemetry");
    const ordered_json* outputs = reader.find("outputs");
    if (outputs == nullptr || !(outputs->is_array() || outputs->is_string()))
        throw switch_error("outputs must be an array or a raw text");
    if (outputs->is_string())
        result.outputs = outputs->get<std::string>();
    else
        result.outputs = *outputs;
    result.health_version = reader.number("healthVersion", -any_number, any_number);
    result.health_call = reader.flag("healthCall");
}

void read_clock(const ordered_json& document, switches& result) {
    object_reader reader(document, "clock");
    result.clock_engaged = reader.flag("engaged");
    result.clock_healthy = reader.flag("healthy");
    reader.finish();
}

void read_resources(const ordered_json& document, switches& result) {
    object_reader reader(document, "resources");
    result.resources_known = reader.flag("known");
    result.memory_available_percent =
        reader.number("memoryAvailablePercent", -any_number, any_number);
    result.cpu_percent = reader.number("cpuPercent", -any_number, any_number);
    result.gpu_temperature = reader.number("gpuTemperature", -any_number, any_number);
    reader.finish();
}

void read_replication(const ordered_json& document, switches& result) {
    object_reader reader(document, "replication");
    result.replication_paused = reader.flag("paused");
    result.replication_behind = reader.number("behind", 0, any_number);
    result.replication_revision = reader.optional_number("revision", -any_number, any_number);
    result.replication_applied_revision =
        reader.optional_number("appliedRevision", -any_number, any_number);
    result.replication_pending_media = reader.number("pendingMedia", -any_number, any_number);
    result.replication_last_error = reader.optional_text("lastError").value_or("");
    result.replication_title_control_bytes =
        reader.number("titleControlBytes", 0, largest_answer_bytes);
    result.replication_error_control_bytes =
        reader.number("errorControlBytes", 0, largest_answer_bytes);
    reader.finish();
}

flood_switches read_flood(const ordered_json& document) {
    object_reader reader(document, "discovery.flood");
    flood_switches flood;
    flood.per_second = reader.number("perSecond", 1, most_flood_per_second);
    flood.for_ms = reader.number("forMs", 1, longest_delay_ms);
    flood.serials = reader.optional_number("serials", 1, most_flood_serials).value_or(1);
    flood.name_control_bytes = reader.number("nameControlBytes", 0, longest_flood_name);
    flood.addresses = reader.optional_number("addresses", 1, most_flood_addresses).value_or(1);
    reader.finish();
    if (flood.per_second == 0 || flood.for_ms == 0)
        throw switch_error("discovery.flood needs perSecond and forMs");
    return flood;
}

void read_discovery(const ordered_json& document, switches& result) {
    object_reader reader(document, "discovery");
    result.discovery_silent = reader.flag("silent");
    result.discovery_copies = reader.number("copies", 0, most_discovery_copies);
    if (const ordered_json* replies = reader.find("replies")) {
        if (!replies->is_array()) throw switch_error("discovery.replies must be a list of texts");
        auto& texts = result.discovery_replies.emplace();
        for (const ordered_json& each : *replies) {
            if (!each.is_string()) throw switch_error("discovery.replies must hold texts");
            texts.push_back(each.get<std::string>());
        }
    }
    if (const ordered_json* flood = reader.find("flood")) result.flood = read_flood(*flood);
    reader.finish();
}

std::vector<std::int64_t> read_keys(object_reader& reader, const char* key) {
    const ordered_json* keys = reader.find(key);
    std::vector<std::int64_t> result;
    if (keys == nullptr) return result;
    const auto is_number = [](const ordered_json& each) { return each.is_number_integer(); };
    if (!keys->is_array() || !std::all_of(keys->begin(), keys->end(), is_number))
        throw switch_error(std::string("decks.") + key + " must be a list of numbers");
    return keys->get<std::vector<std::int64_t>>();
}

void read_decks(const ordered_json& document, switches& result) {
    object_reader reader(document, "decks");
    result.decks.use_splash = reader.flag("useSplash");
    result.decks.pages = reader.number("pages", 1, 1000);
    result.decks.empty_keys = read_keys(reader, "emptyKeys");
    result.decks.broken_keys = read_keys(reader, "brokenKeys");
    reader.finish();
}

void read_spelling(const ordered_json& document, switches& result) {
    object_reader reader(document, "spelling");
    for (const auto& [path, value] : document.items()) {
        result.spelling[path] =
            reader.one_of<key_spelling>(path.c_str(), {{"usual", key_spelling::usual},
                                                       {"camelCase", key_spelling::camel_case},
                                                       {"PascalCase", key_spelling::pascal_case}});
    }
}

} // namespace

ordered_json merge_switches(ordered_json set, const ordered_json& patch) {
    for (const char* by_path : {"faults", "spelling"}) {
        if (!set.contains(by_path) || !patch.contains(by_path)) continue;
        for (const auto& each : patch.at(by_path).items())
            set.at(by_path).erase(each.key());
    }
    set.merge_patch(patch);
    return set;
}

ordered_json all_switches(const ordered_json& set) {
    ordered_json document = default_switches();
    document.merge_patch(set);
    return document;
}

switches read_switches(const ordered_json& document) {
    switches result;
    object_reader reader(document, "switches");
    read_health(reader, result);
    const auto read_part = [&](const char* key, auto read) {
        const ordered_json* part = reader.find(key);
        if (part == nullptr) throw switch_error(std::string(key) + " must be an object");
        read(*part, result);
    };
    read_part("clock", read_clock);
    read_part("resources", read_resources);
    read_part("replication", read_replication);
    read_part("discovery", read_discovery);
    read_part("decks", read_decks);
    read_part("spelling", read_spelling);
    result.configuration_systems =
        reader.number("configurationSystems", 0, most_configuration_systems);
    result.cable_plugged = reader.one_of<bool>("cable", {{"plugged", true}, {"pulled", false}});
    result.http_port_open = reader.one_of<bool>("httpPort", {{"open", true}, {"closed", false}});
    const ordered_json* faults = reader.find("faults");
    if (faults == nullptr || !faults->is_object()) throw switch_error("faults must be an object");
    for (const auto& [path, value] : faults->items())
        result.faults[path] = read_fault(value, path);
    reader.finish();
    return result;
}

key_spelling spelling_for(const switches& broken, const std::string& path) {
    auto found = broken.spelling.find(path);
    if (found == broken.spelling.end()) found = broken.spelling.find("*");
    return found == broken.spelling.end() ? key_spelling::usual : found->second;
}

std::int64_t reported_revision(const switches& broken, std::int64_t held) {
    return broken.replication_revision.value_or(held);
}

std::int64_t reported_applied_revision(const switches& broken, std::int64_t held) {
    const std::int64_t behind = reported_revision(broken, held) - broken.replication_behind;
    return broken.replication_applied_revision.value_or(std::max<std::int64_t>(0, behind));
}

} // namespace elvantris::simulator
