#include "tool/write_answer.hpp"

namespace elvantris::operator_control {
namespace {

bool steers_terminal(unsigned char byte) {
    return (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
}

// The control characters beyond ASCII, U+0080 to U+009F, are two bytes in UTF-8.
bool is_long_control(std::string_view text) {
    return text.size() >= 2 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) >= 0x80 &&
           static_cast<unsigned char>(text[1]) < 0xA0;
}

} // namespace

std::string for_terminal(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = is_long_control(text) ? 2 : 1;
        if (length == 2 || steers_terminal(static_cast<unsigned char>(text[0])))
            shown += '?';
        else
            shown += text[0];
        text.remove_prefix(length);
    }
    return shown;
}

tool_exit write_answer(const tool_answer& answer, bool as_json, std::ostream& output,
                       std::ostream& errors) {
    const bool no_answer = answer.exit == tool_exit::could_not_look;
    std::ostream& used = as_json || !no_answer ? output : errors;
    if (as_json)
        used << answer.tree.dump(2, ' ', false, json_tree::error_handler_t::replace) << '\n';
    else
        used << for_terminal(answer.text);
    used.flush();
    if (!used) {
        errors << "The answer could not be written.\n";
        return tool_exit::could_not_look;
    }
    if (!as_json) errors << for_terminal(answer.remarks);
    return answer.exit;
}

} // namespace elvantris::operator_control
