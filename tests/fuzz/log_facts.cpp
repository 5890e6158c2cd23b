#include "tool/log_facts.hpp"
#include "fuzz_input.hpp"
#include "os/reserved_ports.hpp"

// What the doctor reads besides settings: the program's log, and what Windows prints of its ports.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);

    if (const auto version = last_version_in(text)) {
        require(!version->empty());
        require(text.find("Elvantris Redundancy Control " + *version) != std::string_view::npos);
        // A line that has only begun changes nothing.
        require(last_version_in(std::string(text) + "x") == version);
    }

    const std::vector<port_range> ranges = read_reserved_ranges(text);
    require(ranges.size() <= text.size());
    for (const port_range& range : ranges)
        require(range.first <= range.last);
    return 0;
}
