#include "event_model.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

constexpr std::array<const char*, 2> pairing_keys{"OperatorControl", "operatorControl"};

// Discarded when the text is no JSON.
ordered_json parse(const std::string& text) {
    return ordered_json::parse(text, nullptr, false);
}

std::string text_at(const ordered_json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

const ordered_json* find_pairing(const ordered_json& model) {
    for (const char* key : pairing_keys) {
        const auto found = model.find(key);
        if (found != model.end() && found->is_object()) return &*found;
    }
    return nullptr;
}

paired_system read_system(const ordered_json& object) {
    return {.serial = text_at(object, "Serial"),
            .workstation_name = text_at(object, "WorkstationName"),
            .address = text_at(object, "Address"),
            .role = text_at(object, "Role"),
            .backup_for_serial = text_at(object, "BackupForSerial")};
}

} // namespace

const paired_system* pairing::find(const std::string& serial) const {
    const auto found = std::find_if(systems.begin(), systems.end(), [&](const paired_system& each) {
        return each.serial == serial;
    });
    return found == systems.end() ? nullptr : &*found;
}

bool pairing::names(const std::string& serial, const std::string& role) const {
    const paired_system* found = find(serial);
    return found != nullptr && found->role == role;
}

std::string pairing::main_serial() const {
    for (const paired_system& each : systems)
        if (each.role == "Main") return each.serial;
    return "";
}

std::string pairing::role_of(const std::string& serial) const {
    const paired_system* found = enabled ? find(serial) : nullptr;
    return found == nullptr ? "Independent" : found->role;
}

// The signs that form encoding and JSON escaping change all occur in it.
std::string first_event_model() {
    return R"json({
  "Title": "Harbour Lights",
  "Notes": "Doors 19:30 & curtain 20:00 + 5 % \"soft\" fade \\ Bühne Süd",
  "Rooms": [
    {"Name": "prime", "Layers": [
      {"Id": 1, "Media": "skyline_loop.mov", "Opacity": 100},
      {"Id": 2, "Media": "harbour lights (final).mov", "Opacity": 80}
    ]}
  ],
  "CueList": [
    {"Number": 1, "Label": "Preset", "FadeMs": 2500},
    {"Number": 2, "Label": "Sunrise {slow}", "FadeMs": 12000}
  ]
}
)json";
}

bool is_event_model(const std::string& text) {
    return parse(text).is_object();
}

std::string event_title(const std::string& text) {
    const ordered_json model = parse(text);
    return model.is_object() ? text_at(model, "Title") : "";
}

std::optional<pairing> read_pairing(const std::string& text) {
    const ordered_json model = parse(text);
    if (!model.is_object()) return std::nullopt;
    const ordered_json* object = find_pairing(model);
    if (object == nullptr) return std::nullopt;
    pairing result;
    result.enabled = object->contains("Enabled") && object->at("Enabled") == true;
    if (object->contains("Systems")) {
        for (const ordered_json& each : object->at("Systems"))
            if (each.is_object()) result.systems.push_back(read_system(each));
    }
    if (object->contains("SharedFunctionIds")) {
        for (const ordered_json& each : object->at("SharedFunctionIds"))
            if (each.is_number_integer())
                result.shared_function_ids.push_back(each.get<std::int64_t>());
    }
    return result;
}

std::string with_revision(const std::string& text, std::int64_t revision) {
    ordered_json model = parse(text);
    for (const char* key : pairing_keys) {
        const auto found = model.find(key);
        if (found == model.end() || !found->is_object()) continue;
        (*found)["ReplicationRevision"] = revision;
        return model.dump();
    }
    return text;
}

std::string without_pairing(const std::string& text) {
    ordered_json model = parse(text);
    for (const char* key : pairing_keys)
        model.erase(key);
    return model.dump();
}

ordered_json pairing_json(const pairing& value) {
    ordered_json systems = ordered_json::array();
    for (const paired_system& each : value.systems) {
        systems.push_back({{"Serial", each.serial},
                           {"WorkstationName", each.workstation_name},
                           {"Address", each.address},
                           {"Role", each.role},
                           {"BackupForSerial", each.backup_for_serial}});
    }
    return {{"Enabled", value.enabled},
            {"SharedFunctionIds", value.shared_function_ids},
            {"Systems", systems}};
}

} // namespace elvantris::simulator
