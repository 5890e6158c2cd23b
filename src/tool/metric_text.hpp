// Figures in the text format that Prometheus and its kin read, version 0.0.4. Pure.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace elvantris::operator_control {

struct metric_sample {
    std::vector<std::pair<std::string_view, std::string>> labels;
    double value = 0;
};

enum class metric_kind { gauge, counter };

// All samples of one name. They differ in the values of their labels.
struct metric_family {
    std::string_view name;
    std::string_view help;
    metric_kind kind = metric_kind::gauge;
    std::vector<metric_sample> samples;
};

// As the format's name and version are told to the reader.
inline constexpr std::string_view metric_text_type = "text/plain; version=0.0.4; charset=utf-8";

// A family without samples is left out.
std::string write_metrics(const std::vector<metric_family>& families);

} // namespace elvantris::operator_control
