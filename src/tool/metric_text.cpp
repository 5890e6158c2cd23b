#include "tool/metric_text.hpp"

#include <array>
#include <charconv>

namespace elvantris::operator_control {
namespace {

// Enough for the shortest text of any double.
constexpr std::size_t longest_number = 32;

std::string_view word_for(metric_kind kind) {
    switch (kind) {
    case metric_kind::gauge:
        return "gauge";
    case metric_kind::counter:
        return "counter";
    }
    return "";
}

std::string number_text(double value) {
    std::array<char, longest_number> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), result.ptr};
}

std::string escaped_label(std::string_view value) {
    std::string text;
    text.reserve(value.size());
    for (const char byte : value) {
        if (byte == '\n') {
            text += "\\n";
            continue;
        }
        if (byte == '\\' || byte == '"') text += '\\';
        text += byte;
    }
    return text;
}

void add_sample(std::string& text, std::string_view name, const metric_sample& sample) {
    text += name;
    char before = '{';
    for (const auto& [label, value] : sample.labels) {
        text += before;
        text.append(label).append("=\"").append(escaped_label(value)) += '"';
        before = ',';
    }
    if (!sample.labels.empty()) text += '}';
    text.append(" ").append(number_text(sample.value)) += '\n';
}

} // namespace

std::string write_metrics(const std::vector<metric_family>& families) {
    std::string text;
    for (const metric_family& family : families) {
        if (family.samples.empty()) continue;
        text.append("# HELP ").append(family.name).append(" ").append(family.help) += '\n';
        text.append("# TYPE ").append(family.name).append(" ").append(word_for(family.kind)) +=
            '\n';
        for (const metric_sample& sample : family.samples)
            add_sample(text, family.name, sample);
    }
    return text;
}

} // namespace elvantris::operator_control
