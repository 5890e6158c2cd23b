// A settings file that another process holds and shares with nobody, as virus scanners do at logon.
#include "integration/support/unreadable_settings.hpp"

#include <windows.h>

using namespace elvantris::operator_control;

namespace {

std::shared_ptr<void> hold(const std::string& path) {
    const HANDLE held = ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(held, INVALID_HANDLE_VALUE);
    return {held, ::CloseHandle};
}

} // namespace

TEST_F(unreadable_settings, are_not_saved_over_and_are_kept_once_they_can_be_read) {
    expect_not_saved_over_and_kept_once_it_can_be_read(hold);
}

TEST_F(unreadable_settings, that_can_be_read_a_little_later_are_read_then) {
    expect_read_once_it_can_be(hold);
}

TEST_F(unreadable_settings, hold_no_caller_that_is_to_end) {
    expect_left_alone_by_a_caller_that_ends(hold);
}
