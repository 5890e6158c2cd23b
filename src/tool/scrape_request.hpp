// What is asked of the exporter, and what it answers. Pure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// A longer request is none.
inline constexpr std::size_t largest_scrape_request = 8192;

enum class scrape_request {
    incomplete, // more has to come
    metrics,
    not_found,
    wrong_method,
    bad,
    too_large,
};

// Judges what has come so far. A body is never read.
scrape_request judge_scrape_request(std::string_view received);

// The whole reply. `metrics` is the body of an answer to `metrics`, and not looked at otherwise.
std::string write_scrape_reply(scrape_request request, std::string_view metrics);

} // namespace elvantris::operator_control
