#include "platform/console.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <io.h>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

TEST(console_handles, stay_as_they_are_unless_a_console_is_wanted) {
    const auto handles = [] {
        return std::array{::_get_osfhandle(::_fileno(stdin)), ::_get_osfhandle(::_fileno(stdout)),
                          ::_get_osfhandle(::_fileno(stderr))};
    };
    const auto before = handles();
    const HWND console = ::GetConsoleWindow();
    attach_console(false);
    EXPECT_EQ(handles(), before);
    EXPECT_EQ(::GetConsoleWindow(), console);
}

} // namespace
} // namespace elvantris::operator_control
