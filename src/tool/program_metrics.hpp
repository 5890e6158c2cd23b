// What the program says of the pair, as figures. Pure.
#pragma once

#include "tool/metric_text.hpp"
#include "tool/program_status.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace elvantris::operator_control {

// Counts the transfers that the program's alerts tell of. The program keeps its newest alerts only,
// and begins anew when it starts: what has been counted once stays counted.
class transfer_counter {
public:
    void see(const protection_snapshot& protection);
    std::uint64_t count() const { return count_; }

private:
    // Number and time of those of the last look. After a restart of the program a number comes
    // again.
    using notice = std::pair<std::uint64_t, std::int64_t>;
    std::set<notice> seen_;
    std::uint64_t count_ = 0;
};

// Without a status, only that there is none.
std::vector<metric_family> metrics_of(const std::optional<program_status>& status,
                                      std::uint64_t transfers, std::string_view version);

} // namespace elvantris::operator_control
