#include "fuzz_input.hpp"
#include "tool/alert_log_reader.hpp"
#include "tool/explain_report.hpp"
#include "tool/local_time.hpp"
#include "tool/timeline.hpp"

#include <algorithm>

// The first byte says how large the pieces are in which the file arrives.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    if (size == 0) return 0;
    const std::size_t piece = bytes[0] + std::size_t{1};
    const std::string_view text = as_text(bytes + 1, size - 1);
    constexpr alert_log_bounds bounds{.kept_bytes = 2048, .line_bytes = 512};

    alert_lines whole(end_of_time, bounds);
    whole.take(text);
    const alert_log_part expected = whole.finish();

    alert_lines pieces(end_of_time, bounds);
    for (std::size_t at = 0; at < text.size(); at += piece)
        pieces.take(text.substr(at, piece));
    const alert_log_part read = pieces.finish();

    require(read.damaged == expected.damaged && read.begins_later == expected.begins_later);
    require(read.lines.size() == expected.lines.size());
    std::size_t kept = 0;
    for (std::size_t at = 0; at < read.lines.size(); ++at) {
        require(read.lines[at].time == expected.lines[at].time);
        require(read.lines[at].message == expected.lines[at].message);
        kept += read.lines[at].message.size();
    }
    // A byte that is not UTF-8 becomes a character of three.
    require(kept <= 3 * bounds.kept_bytes);

    // A time on the command line is a span, or none.
    const std::string_view time = text.substr(0, 32);
    for (const auto& span :
         {read_local_time(time, 1'790'000'000'000), read_local_time_after(time, 1'790'000'000'000)})
        require(!span || span->first <= span->last);

    // Whatever was read can be explained, now and at each of its moments.
    explain_view view;
    view.history = read_history(read.lines);
    require(!answer_explanation(explain(view), 0).text.empty());
    view.about_now = false;
    for (const alert_line& line : read.lines) {
        view.asked = {.first = line.time, .last = line.time};
        require(!answer_explanation(explain(view), 0).text.empty());
    }

    // And shown in all three ways.
    const timeline shown = timeline_between(read, 0, end_of_time);
    const tool_answer answer = answer_timeline(shown);
    require(answer.tree["timeline"].size() == shown.entries.size());
    require(!timeline_csv(shown).empty() && !answer.tree.dump().empty());
    return 0;
}
