// What the running program says of itself. Pure.
#pragma once

#include "protection/protection_status.hpp"
#include "systems/registry_state.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

struct seen_deck {
    std::string serial;
    std::string name;

    bool operator==(const seen_deck&) const = default;
};

struct program_status {
    registry_state registry; // with the live fields of the systems
    protection_snapshot protection;
    std::string active; // "main", "backup", "independent" or "none"
    std::vector<seen_deck> decks;
    std::string config_path;
};

// Absent if the text is no status of the program. What is missing in it has its default.
std::optional<program_status> read_status(std::string_view text);

enum class program_presence {
    running,
    not_running,
    not_answering,
    unreadable_status, // it is ours
    another_program,
};

struct program_reply {
    program_presence presence = program_presence::not_running;
    std::optional<program_status> status; // of a running program
    std::string text = {};                // of the program's status, as it came
};

// Which program sent this body, and its status.
program_reply judge_answer(std::string_view body);

// What is said of a program that gives no status, and what to do.
std::string_view presence_sentence(program_presence presence);
std::string_view presence_advice(program_presence presence);

// Of a program that runs for another folder.
std::string other_configuration_sentence(const program_status& status);

} // namespace elvantris::operator_control
