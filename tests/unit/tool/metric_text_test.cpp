#include "tool/metric_text.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(metric_text, names_each_family_once_and_each_sample_on_a_line) {
    const metric_family side{.name = "x_side",
                             .help = "Which.",
                             .kind = metric_kind::gauge,
                             .samples = {{.labels = {{"side", "main"}, {"n", "1"}}, .value = 1},
                                         {.labels = {{"side", "backup"}}, .value = 0}}};
    const metric_family total{.name = "x_total",
                              .help = "How often.",
                              .kind = metric_kind::counter,
                              .samples = {{.labels = {}, .value = 3}}};
    EXPECT_EQ(write_metrics({side, total}), "# HELP x_side Which.\n"
                                            "# TYPE x_side gauge\n"
                                            "x_side{side=\"main\",n=\"1\"} 1\n"
                                            "x_side{side=\"backup\"} 0\n"
                                            "# HELP x_total How often.\n"
                                            "# TYPE x_total counter\n"
                                            "x_total 3\n");
}

TEST(metric_text, leaves_out_a_family_without_samples) {
    EXPECT_EQ(write_metrics({{.name = "x", .help = "y", .samples = {}}}), "");
}

TEST(metric_text, escapes_what_would_end_a_label) {
    const metric_sample sample{.labels = {{"name", "a\"b\\c\nd\xC3\xBC"}}, .value = 1};
    EXPECT_EQ(write_metrics({{.name = "x", .help = "y", .samples = {sample}}}),
              "# HELP x y\n# TYPE x gauge\nx{name=\"a\\\"b\\\\c\\nd\xC3\xBC\"} 1\n");
}

TEST(metric_text, writes_parts_of_a_second) {
    const metric_sample sample{.labels = {}, .value = 0.125};
    EXPECT_TRUE(
        write_metrics({{.name = "x", .help = "y", .samples = {sample}}}).ends_with("\nx 0.125\n"));
}
