#include "os/reserved_ports.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(read_reserved_ranges, takes_the_rows_of_the_table_and_nothing_else) {
    const auto ranges = read_reserved_ranges("\r\nProtocol tcp Port Exclusion Ranges\r\n\r\n"
                                             "Start Port    End Port      \r\n"
                                             "----------    --------      \r\n"
                                             "      5200        5299      \r\n"
                                             "     50000       50059     *\r\n\r\n"
                                             "* - Administered port exclusions.\r\n");
    EXPECT_EQ(ranges, (std::vector<port_range>{{5200, 5299}, {50000, 50059}}));
}

TEST(read_reserved_ranges, survives_what_is_no_table) {
    for (const char* printed : {"", "\n", "5", "70000 70001", "7 5", "5251", "-1 4"})
        EXPECT_TRUE(read_reserved_ranges(printed).empty()) << printed;
}
