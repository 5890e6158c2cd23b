#include "platform/open_external.hpp"

#include "os/windows/wide_text.hpp"

#include <windows.h>

#include <shellapi.h>

namespace elvantris::operator_control {

void open_external(const std::string& target) {
    ::ShellExecuteW(nullptr, L"open", to_wide(target).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

} // namespace elvantris::operator_control
