#include "platform/console.hpp"

#include <gtest/gtest.h>

#include <iostream>

namespace elvantris::operator_control {
namespace {

TEST(attach_console, leaves_the_streams_alone_unless_wanted) {
    for (std::ios* const stream : std::initializer_list<std::ios*>{
             &std::cout,
             &std::cerr,
             &std::cin,
         }) {
        std::streambuf* const buffer = stream->rdbuf();
        stream->setstate(std::ios::failbit);
        attach_console(false);
        EXPECT_EQ(stream->rdstate(), std::ios::failbit);
        EXPECT_EQ(stream->rdbuf(), buffer);
        stream->clear();
    }
}

} // namespace
} // namespace elvantris::operator_control
