#include "tool/explain_rules.hpp"

#include "protection/alert_texts.hpp"
#include "protection/evaluation.hpp"
#include "tool/explain_choice.hpp"
#include "tool/explain_others.hpp"
#include "tool/local_time.hpp"
#include "tool/log_events.hpp"

#include <algorithm>
#include <iterator>

namespace elvantris::operator_control {
namespace {

const char* target_of(const history_entry& transfer) {
    return goes_to_backup(transfer) ? "Backup" : "Main";
}

// Tells one event.
class story_teller {
public:
    story_teller(const explain_view& view, const history_entry& event)
        : view_(view), event_(event), led_there_since_(beginning_of_trouble()) {}

    explanation tell() {
        tell_faults();
        if (is_transfer(event_))
            tell_transfer();
        else if (event_.kind == history_kind::blocked)
            tell_block(event_);
        else
            tell_stay();
        std::ranges::stable_sort(told_.story, {}, &story_line::time);
        return std::move(told_);
    }

private:
    void add(std::int64_t time, std::string text) {
        told_.story.push_back({.time = time, .text = std::move(text)});
    }
    void add_aftermath(std::int64_t time, std::string text) {
        told_.story.push_back({.time = time, .text = std::move(text), .is_beginning = false});
    }

    // The newest of those that began by then; null if there is none.
    template<typename condition>
    const history_entry* newest(const condition& holds) const {
        const history_entry* last = nullptr;
        for (const history_entry& entry : view_.history)
            if (entry.begun <= event_.begun && holds(entry)) last = &entry;
        return last;
    }

    const history_entry* newest_unreadiness() const { return newest(is_unreadiness); }

    // A block means that something was wrong before. A transfer may be late for the same reason.
    std::int64_t beginning_of_trouble() const {
        std::int64_t begun = event_.begun;
        if (const history_entry* block = block_before()) begun = block->begun;
        const bool blocked = event_.kind == history_kind::blocked || begun != event_.begun;
        if (const history_entry* unready = newest_unreadiness(); blocked && unready != nullptr)
            begun = std::min(begun, unready->begun);
        return begun - same_event_ms;
    }

    // An entry without an end in the log counts only if it began with this trouble: an older one
    // may have ended while the program was not running.
    bool counts(const history_entry& entry) const {
        return entry.lasted_at(event_.begun) ||
               (!entry.ended && entry.begun <= event_.begun && entry.begun >= led_there_since_);
    }

    // What was wrong with the servers at that moment, and when it ended.
    void tell_faults() {
        for (const history_entry& entry : view_.history) {
            if (!counts(entry) ||
                !(is_of_main(entry) || is_of_backup(entry) || is_unreadiness(entry)))
                continue;
            add(entry.begun, entry.message);
            if (entry.ended) add_aftermath(*entry.ended, "Ended: " + entry.message);
        }
    }

    void tell_transfer() {
        told_.outcome = operation_outcome::moved;
        const std::string reason = reason_of(event_);
        if (is_on_request(event_)) {
            told_.summary =
                std::string("The operator moved operation to ") + target_of(event_) + '.';
            add(event_.begun, told_.summary);
            tell_earlier_failover();
        } else {
            told_.summary = std::string("Operation moved to ") + target_of(event_) +
                            " because of Main: " + reason;
            told_.reasons.emplace_back("Automatic failover was armed, and Backup was ready.");
            add(event_.begun, std::string("Moved to ") + target_of(event_) + after_alert(reason));
        }
        tell_earlier_block();
        tell_commands();
    }

    // After a return to Main, also say why operation had moved to Backup.
    void tell_earlier_failover() {
        if (goes_to_backup(event_)) return;
        const history_entry* const before = newest(
            [&](const history_entry& entry) { return is_transfer(entry) && &entry < &event_; });
        if (before == nullptr || !goes_to_backup(*before) || is_on_request(*before)) return;
        told_.reasons.push_back(
            "Before that, at " + clock_of(before->begun) +
            ", operation had moved to Backup because of Main: " + reason_of(*before));
        add(before->begun, "Moved to Backup because of Main: " + reason_of(*before));
    }

    std::string after_alert(const std::string& reason) const {
        const std::string message = fault_of_main(reason);
        const history_entry* const alert = newest(
            [&](const history_entry& entry) { return counts(entry) && entry.message == message; });
        // Usually both are from one cycle.
        if (alert == nullptr || event_.begun - alert->begun <= same_event_ms) return ".";
        return ", " + duration_text(event_.begun - alert->begun) + " after the alert.";
    }

    // What was in the way of this transfer until it could begin; null if nothing was.
    const history_entry* block_before() const {
        if (!is_transfer(event_)) return nullptr;
        return newest([&](const history_entry& entry) {
            return entry.kind == history_kind::blocked && entry.ended &&
                   *entry.ended >= event_.begun - same_event_ms &&
                   *entry.ended <= event_.begun + same_event_ms;
        });
    }

    void tell_earlier_block() {
        if (const history_entry* block = block_before())
            add(block->begun, "Blocked until then: " + block->message);
    }

    void tell_commands() {
        std::size_t sent = 0;
        std::int64_t last_sent = 0;
        const std::string sequence =
            std::string(goes_to_backup(event_) ? alert_texts::to_backup : alert_texts::to_main) +
            " / ";
        for (const history_entry& entry : view_.history) {
            if (is_transfer(entry) && entry.begun > event_.begun) break;
            if (entry.begun < event_.begun || entry.begun > event_.begun + aftermath_ms ||
                !entry.message.starts_with(sequence))
                continue;
            if (was_sent(entry)) {
                ++sent;
                last_sent = entry.begun;
            } else {
                add_aftermath(entry.begun,
                              "A command failed: " + entry.message.substr(sequence.size()));
            }
        }
        if (sent == 1) add_aftermath(last_sent, "1 command sent.");
        if (sent > 1) add_aftermath(last_sent, std::to_string(sent) + " commands sent.");
    }

    void tell_block(const history_entry& block) {
        told_.outcome = operation_outcome::blocked;
        add(block.begun, block.message);
        if (block.ended) add_aftermath(*block.ended, "No longer blocked.");
        tell_later_move(block);
        if (block.key == "transfer-storage") {
            told_.summary = "Operation did not move: the disk refused to keep the hold.";
            told_.reasons.emplace_back("Free the disk, and check the rights of the folder.");
        } else if (block.message == alert_texts::blocked_by_sequence) {
            told_.summary = "Operation did not move: commands were still being sent.";
            told_.reasons.emplace_back("Shorten delays, timeouts and retries of the commands.");
        } else {
            tell_unready_backup();
        }
    }

    void tell_later_move(const history_entry& block) {
        if (!block.ended) return;
        for (const history_entry& entry : view_.history)
            if (is_transfer(entry) && goes_to_backup(entry) && entry.begun >= block.begun &&
                entry.begun <= *block.ended + same_event_ms &&
                entry.begun >= *block.ended - same_event_ms) {
                told_.reasons.push_back("Operation moved to Backup at " + clock_of(entry.begun) +
                                        '.');
                add(entry.begun, "Moved to Backup.");
            }
    }

    // With the date, unless it is the event's own.
    std::string clock_of(std::int64_t time) const {
        const std::string date = local_date(time);
        return (date == local_date(event_.begun) ? "" : date + ' ') + local_clock(time);
    }

    void tell_unready_backup() {
        told_.summary = "Operation did not move: Backup was not ready";
        if (const history_entry* unready = newest_unreadiness();
            unready != nullptr && counts(*unready))
            told_.summary += " from " + clock_of(unready->begun) + " on";
        told_.summary += '.';
        for (const history_entry& entry : view_.history)
            if (counts(entry) && is_of_backup(entry)) told_.reasons.push_back(entry.message);
        if (told_.reasons.empty())
            told_.reasons.emplace_back(
                "No fault of Backup is in the log: its engine may have been starting.");
    }

    bool was_held() const {
        // A changed pair ends a hold without a line in the log.
        if (view_.about_now && view_.held_on_backup) return *view_.held_on_backup;
        const history_entry* const last = newest(is_transfer);
        return last != nullptr && goes_to_backup(*last);
    }

    bool both_lost() const {
        const std::string lost = "Server communication lost.";
        return event_.message == fault_of_main(lost) &&
               std::ranges::any_of(view_.history, [&](const history_entry& entry) {
                   return counts(entry) && entry.message == fault_of_backup(lost);
               });
    }

    void tell_stay() {
        told_.outcome = operation_outcome::stayed;
        told_.summary = "Operation did not move for " + event_.message;
        if (was_held())
            told_.reasons.emplace_back("It was held on Backup already: nothing moves by itself "
                                       "until the operator returns to Main.");
        else if (only_alerts(event_, view_.policy))
            told_.reasons.emplace_back("This condition only alerts; it starts no failover.");
        else if (both_lost())
            told_.reasons.emplace_back("Both servers were lost together: then the workstation may "
                                       "be the one that is cut off, and operation stays.");
        else
            tell_settings_of_now();
    }

    void tell_settings_of_now() {
        if (view_.policy && !view_.policy->armed)
            told_.reasons.emplace_back("Automatic failover is disarmed now.");
        if (!view_.enabled.value_or(true)) told_.reasons.emplace_back("The pair is disabled now.");
        told_.reasons.emplace_back(possible_settings_of_then());
    }

    const char* possible_settings_of_then() const {
        if (!told_.reasons.empty()) return "The log does not tell whether that was so then.";
        if (!view_.policy)
            return "It may have been disarmed, the pair disabled, or this condition may only "
                   "alert: the log does not tell.";
        return "It may have been disarmed, or the pair disabled: the log does not tell.";
    }

    const explain_view& view_;
    const history_entry& event_;
    std::int64_t led_there_since_;
    explanation told_;
};

// Nothing is known about a time whose lines were not read.
bool log_is_too_short(const explain_view& view) {
    return view.older_left_out &&
           (view.about_now || !view.log_begins || view.asked.first < *view.log_begins);
}

// Each with a space before it.
std::string ignored_conditions(const explain_view& view) {
    std::string ignored;
    if (!view.policy) return ignored;
    for (const fault_condition& each : server_conditions(*view.policy, {}, {}))
        if (each.mode == mode_ignore) ignored += ' ' + each.message.written();
    return ignored;
}

explanation tell_no_fault(const explain_view& view) {
    explanation told;
    const std::string beginning = view.log_begins
                                      ? "The alert log begins at " + local_date(*view.log_begins) +
                                            ' ' + local_clock(*view.log_begins)
                                      : "The older part of the alert log is left out";
    if (log_is_too_short(view)) {
        told.outcome = operation_outcome::unknown;
        told.summary = beginning + "; it does not tell.";
        return told;
    }
    told.summary = "The program saw no fault of Main";
    told.summary += view.about_now ? "." : " at that time.";
    // Somebody may have moved an older log away.
    if (!view.about_now && view.log_begins && view.asked.last < *view.log_begins)
        told.reasons.push_back(beginning + '.');
    if (const std::string ignored = ignored_conditions(view); !ignored.empty())
        told.reasons.push_back("Conditions that are ignored now:" + ignored);
    told.reasons.emplace_back("A fault that is shorter than its delay, an output that no rule "
                              "names, and a wrong picture are no faults for the program.");
    return told;
}

} // namespace

explanation explain(const explain_view& view) {
    const history_entry* const event = event_in_question(view);
    explanation told = event == nullptr ? tell_no_fault(view) : story_teller(view, *event).tell();
    told.others = other_events(view, told.story);
    if (view.presence != program_presence::running)
        told.reasons.emplace_back(presence_sentence(view.presence));
    if (view.about_now && view.held_on_backup.value_or(false))
        told.reasons.emplace_back("Operation is held on Backup now.");
    told.older_left_out = view.older_left_out;
    std::ranges::copy(view.notes, std::back_inserter(told.reasons));
    return told;
}

} // namespace elvantris::operator_control
