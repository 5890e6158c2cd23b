#include "tool/support_bundle.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

support_bundle two_files() {
    return {.payloads_masked = true,
            .moment = "2026-03-01 20:14:03.000+01:00",
            .version = "1.2.3",
            .files = {{.name = "check.txt", .about = "what check finds", .bytes = "READY\n"},
                      {.name = "status.json", .about = "the status", .bytes = "{}"}},
            .missing = {}};
}

} // namespace

TEST(support_bundle, says_what_is_in_it_and_what_is_not) {
    support_bundle bundle = two_files();
    EXPECT_EQ(contents_of(bundle), "What Redundancy Control says of itself, for support.\n"
                                   "Made 2026-03-01 20:14:03.000+01:00 by "
                                   "elvantris-redundancy-tool 1.2.3.\n"
                                   "Payloads of commands are masked; only their lengths are told.\n"
                                   "\n"
                                   "check.txt: what check finds\n"
                                   "status.json: the status\n");
    bundle.payloads_masked = false;
    bundle.missing = {{.name = "program.log", .reason = "There is no log."}};
    const std::string text = contents_of(bundle);
    EXPECT_NE(text.find("Payloads of commands are included: --with-payloads was given.\n"),
              std::string::npos);
    EXPECT_TRUE(text.ends_with("\nNot in it:\nprogram.log: There is no log.\n")) << text;
}

TEST(support_bundle, has_its_contents_first) {
    const auto entries = entries_of(two_files());
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].name, "contents.txt");
    EXPECT_EQ(entries[0].bytes, contents_of(two_files()));
    EXPECT_EQ(entries[1].name, "check.txt");
    EXPECT_EQ(entries[1].bytes, "READY\n");
}

TEST(support_bundle, is_a_finding_only_if_something_is_missing_that_should_be_there) {
    support_bundle bundle = two_files();
    bundle.missing = {{.name = "alerts.jsonl", .reason = "There is none."}};
    const tool_answer whole = answer_bundle(bundle, "a.zip", 512);
    EXPECT_EQ(whole.exit, tool_exit::all_well);
    EXPECT_EQ(whole.text, "Written: a.zip\n"
                          "Payloads of commands are masked; only their lengths are told.\n");
    bundle.missing.push_back(
        {.name = "protection.json", .reason = "It is damaged.", .is_finding = true});
    const tool_answer lacking = answer_bundle(bundle, "a.zip", 512);
    EXPECT_EQ(lacking.exit, tool_exit::findings);
    EXPECT_TRUE(lacking.text.ends_with("- Not in it: protection.json. It is damaged.\n"));
    EXPECT_EQ(lacking.tree["bytes"], 512);
    EXPECT_EQ(lacking.tree["payloadsMasked"], true);
    EXPECT_EQ(lacking.tree["contents"][1].dump(), R"({"name":"check.txt","bytes":6})");
    EXPECT_EQ(lacking.tree["missing"][0].dump(),
              R"({"name":"alerts.jsonl","reason":"There is none.","finding":false})");
}
