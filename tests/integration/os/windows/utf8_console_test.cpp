#include "os/utf8_console.hpp"

#include <gtest/gtest.h>

#include <windows.h>

using namespace elvantris::operator_control;

TEST(utf8_console, is_set_for_as_long_as_it_lives) {
    const UINT before = ::GetConsoleOutputCP();
    {
        const utf8_console console;
        EXPECT_EQ(::GetConsoleOutputCP(), before == 0 ? 0U : UINT{CP_UTF8});
    }
    EXPECT_EQ(::GetConsoleOutputCP(), before);
}
