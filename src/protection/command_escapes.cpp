#include "protection/command_escapes.hpp"

#include "text/scanning.hpp"

#include <cstddef>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t longest_command = 16384;

// Decodes the escape whose backslash stands at `at`, and moves `at` behind it. The fault's
// message, or empty.
std::string_view decode_escape(std::string_view payload, std::size_t& at, std::string& bytes) {
    if (at + 1 >= payload.size()) return "Trailing backslash in command.";
    const char kind = payload[at + 1];
    at += 2;
    switch (kind) {
    case '\\':
        bytes += '\\';
        return {};
    case 'n':
        bytes += '\n';
        return {};
    case 'r':
        bytes += '\r';
        return {};
    case 't':
        bytes += '\t';
        return {};
    case 'x':
        break;
    default:
        return "Supported escapes: \\r, \\n, \\t, \\\\, \\xHH.";
    }
    const int high = at < payload.size() ? hex_digit_value(payload[at]) : -1;
    const int low = at + 1 < payload.size() ? hex_digit_value(payload[at + 1]) : -1;
    if (high < 0 || low < 0) return "Use two hexadecimal digits after \\x.";
    bytes += static_cast<char>(high * 16 + low);
    at += 2;
    return {};
}

} // namespace

bool decode_command_escapes(std::string_view payload, std::string& bytes, std::string& error) {
    bytes.clear();
    for (std::size_t at = 0; at < payload.size();) {
        if (payload[at] != '\\') {
            bytes += payload[at++];
            continue;
        }
        if (const std::string_view fault = decode_escape(payload, at, bytes); !fault.empty()) {
            error = fault;
            return false;
        }
    }
    if (bytes.empty() || bytes.size() > longest_command) {
        error = "Command must contain 1-16384 bytes.";
        return false;
    }
    return true;
}

} // namespace elvantris::operator_control
