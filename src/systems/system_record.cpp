#include "systems/system_record.hpp"

namespace elvantris::operator_control {

std::string_view role_word(system_role role) {
    switch (role) {
    case system_role::main:
        return "Main";
    case system_role::backup:
        return "Backup";
    case system_role::independent:
        break;
    }
    return "Independent";
}

system_role role_from_word(std::string_view word) {
    if (word == "Main") return system_role::main;
    if (word == "Backup") return system_role::backup;
    return system_role::independent;
}

} // namespace elvantris::operator_control
