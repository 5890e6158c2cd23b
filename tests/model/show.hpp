// One show: the real `pair_protection` and the model, side by side through the same events, with
// the invariants looked at after each.
#pragma once

#include "model/events.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control::model {

struct broken_invariant {
    std::string name;
    std::string detail;
    std::size_t event = 0; // its place in the show
};

// How often each thing came about: a model in which nothing happens proves nothing.
using tally = std::map<std::string, std::uint64_t>;

std::optional<broken_invariant> run_show(const std::vector<event>& show, tally& counts);

// The shortest list found that breaks the same invariant.
std::vector<event> shorten(std::vector<event> show, const broken_invariant& found);

} // namespace elvantris::operator_control::model
