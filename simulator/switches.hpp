// What the control call can break, and how it stands.
//
// The switches are one JSON document. The control call merges its body into the part that has
// been set (null takes a switch back to its default), and the program reads the typed form.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace elvantris::simulator {

enum class engine_state { running, starting, unresponsive, stopped };

enum class key_spelling { usual, camel_case, pascal_case };

// How one path, or every path, answers wrongly. The fields work together.
struct answer_fault {
    std::int64_t times = 0; // so many requests; 0: all of them
    bool hang = false;
    std::int64_t delay_ms = 0;
    std::optional<std::string> raw; // the whole answer, status line included
    std::optional<int> status;
    std::optional<std::string> body;
    std::int64_t fill_to_bytes = 0;
    std::int64_t pad_to_bytes = 0;
    std::int64_t header_pad_bytes = 0;
    std::int64_t chunk_bytes = 0; // 0: not chunked
    std::int64_t trickle_bytes = 0;
    std::int64_t trickle_every_ms = 0;
    bool trickle_body_only = false;
    std::optional<std::int64_t> cut_after_bytes;   // of the body
    std::optional<std::int64_t> stall_after_bytes; // of the body
    bool reset = false;
};

// Answers to discovery that nobody waits for, sent to whoever asked last. Their serials are
// "FLOOD-1" and so on, over and over.
struct flood_switches {
    std::int64_t per_second = 0; // 0: no flood
    std::int64_t for_ms = 0;     // from the first question on
    std::int64_t serials = 1;
    std::int64_t name_control_bytes = 0; // 0: a plain name
    std::int64_t addresses = 1;          // it must have as many, from 10.77.0.100 on

    bool operator==(const flood_switches&) const = default;
};

// What the server draws on the workstations' decks.
struct deck_switches {
    bool use_splash = false;
    std::int64_t pages = 3;
    std::vector<std::int64_t> empty_keys;
    std::vector<std::int64_t> broken_keys; // their Base64 holds a letter that it may not

    bool operator==(const deck_switches&) const = default;
};

struct switches {
    std::optional<std::string> reported_serial;
    engine_state engine = engine_state::running;
    bool frames_frozen = false;
    std::optional<std::int64_t> frame_age_ms;
    std::int64_t channel_count = 0;
    bool telemetry = true;
    std::variant<nlohmann::ordered_json, std::string> outputs; // a string is raw JSON text
    bool clock_engaged = false;
    bool clock_healthy = true;
    bool resources_known = true;
    std::int64_t memory_available_percent = 0;
    std::int64_t cpu_percent = 0;
    std::int64_t gpu_temperature = 0;
    bool replication_paused = false;
    std::int64_t replication_behind = 0;
    std::optional<std::int64_t> replication_revision;
    std::optional<std::int64_t> replication_applied_revision;
    std::int64_t replication_pending_media = 0;
    std::string replication_last_error;
    std::int64_t replication_title_control_bytes = 0; // 0: the true title
    std::int64_t replication_error_control_bytes = 0; // 0: replication_last_error
    std::int64_t configuration_systems = 0;           // 0: those of the pairing
    std::int64_t health_version = 1;
    bool health_call = true;
    bool cable_plugged = true;
    bool http_port_open = true;
    bool discovery_silent = false;
    std::int64_t discovery_copies = 1;
    std::optional<std::vector<std::string>> discovery_replies;
    std::optional<flood_switches> flood;
    deck_switches decks;
    std::map<std::string, key_spelling> spelling; // by path, or "*"
    std::map<std::string, answer_fault> faults;   // by path, or "*"
};

// The request was wrong; the text says what.
struct switch_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// `set` with the fields of `patch` merged in. An entry of `faults` or `spelling` is replaced whole.
nlohmann::ordered_json merge_switches(nlohmann::ordered_json set,
                                      const nlohmann::ordered_json& patch);

// The defaults with what has been set on top.
nlohmann::ordered_json all_switches(const nlohmann::ordered_json& set);

// Takes what all_switches gives. Throws switch_error for an unknown name or a wrong value.
switches read_switches(const nlohmann::ordered_json& document);

// The entry of the path goes before that of every path.
key_spelling spelling_for(const switches& broken, const std::string& path);

// The revisions that a server with `held` applied shows to the world.
std::int64_t reported_revision(const switches& broken, std::int64_t held);
std::int64_t reported_applied_revision(const switches& broken, std::int64_t held);

} // namespace elvantris::simulator
