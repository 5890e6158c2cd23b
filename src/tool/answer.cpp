#include "tool/answer.hpp"

namespace elvantris::operator_control {

tool_answer could_not_look(std::string_view sentence) {
    return {.exit = tool_exit::could_not_look,
            .text = std::string(sentence) + '\n',
            .tree = {{"error", sentence}}};
}

} // namespace elvantris::operator_control
