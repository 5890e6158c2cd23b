#include "local/page.hpp"

#include "local/page/page_text.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

std::size_t count(std::string_view text, std::string_view piece) {
    std::size_t found = 0;
    for (std::size_t at = text.find(piece); at != std::string_view::npos;
         at = text.find(piece, at + 1))
        ++found;
    return found;
}

} // namespace

TEST(build_shell_page, joins_the_pieces_in_their_order) {
    EXPECT_EQ(build_shell_page(),
              std::string(shell_piece) + std::string(protection_piece) + "</body>\n</html>");
}

TEST(build_shell_page, gives_the_same_document_each_time) {
    EXPECT_EQ(build_shell_page(), build_shell_page());
}

TEST(page_pieces, bring_style_and_script_of_their_own) {
    for (const std::string_view piece : {shell_piece, protection_piece}) {
        EXPECT_EQ(count(piece, "<style>"), 1U);
        EXPECT_EQ(count(piece, "</style>"), 1U);
        EXPECT_EQ(count(piece, "<script>"), 1U);
        EXPECT_EQ(count(piece, "</script>"), 1U);
        EXPECT_EQ(count(piece, "@PAGE_"), 0U);
    }
    EXPECT_TRUE(shell_piece.starts_with("<!doctype html>"));
    EXPECT_EQ(count(shell_piece, "</body>") + count(protection_piece, "</body>"), 0U);
}

TEST(page_pieces, keep_what_the_operator_types_about_escapes_as_it_stands) {
    EXPECT_EQ(count(protection_piece, R"(\r \n \t \\ \xHH)"), 1U);
}

TEST(page_pieces, name_no_other_host) {
    for (const std::string_view piece : {shell_piece, protection_piece}) {
        EXPECT_EQ(count(piece, "https:"), 0U);
        EXPECT_EQ(count(piece, "http://"), count(piece, "http://127.0.0.1:") +
                                               count(piece, "http://www.w3.org/2000/svg") +
                                               count(piece, "http://${address}:"));
    }
}

TEST(build_shell_page, stays_below_120_kib) {
    EXPECT_LT(build_shell_page().size(), 120U * 1024);
}
