// The program's saves without its network: what proof/run kills, and what it asks afterwards.
//   proof_crash act FOLDER COUNT   changes and saves the show in that folder so often. Before each
//                                  act it prints what the files will hold, then that it is done.
//   proof_crash check              reads folders from standard input, a line each. Starts on each,
//                                  saves, and prints what it found as JSON.
#include "integration/support/captured_log.hpp"
#include "json/object_writer.hpp"
#include "json/well_formed.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/standard_streams.hpp"
#include "proof/saved_show.hpp"
#include "protection/pair_protection.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control::proof {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t highest_loss_ms = 30000;
constexpr std::uint16_t highest_port = 60000;

// A start of the program on a folder, by the hand of a clock.
class started_show {
public:
    explicit started_show(const std::string& folder)
        : registry_(path_inside(folder, "operator-control.json")) {
        registry_.load();
        protection_.emplace(registry_, files_beside(registry_.configuration_path()));
        protection_->begin(now_.steady);
    }

    controller_registry& registry() { return registry_; }
    pair_protection& protection() { return *protection_; }
    protection_snapshot shown() const { return protection_->snapshot(now_.steady); }
    std::string alert_log_path() const {
        return alert_log_path_for(registry_.configuration_path());
    }

    // As after a first discovery, when the operator has chosen the pair.
    void pair_up() {
        registry_.merge_discovered({{"127.0.0.1", 5000, "Stage left", main_serial},
                                    {"127.0.0.2", 5000, "Stage right", backup_serial}},
                                   now_.steady);
        registry_.configure(true, main_serial, backup_serial);
        registry_.save();
    }

    void cycle_after(milliseconds later) {
        now_.steady += later;
        now_.wall_ms += later.count();
        for (const char* const serial : {main_serial, backup_serial}) {
            server_health health = healthy_server();
            health.lastSeen = now_.steady;
            protection_->note_health(serial, std::move(health));
        }
        protection_->evaluate_cycle(now_);
    }

    // Both servers are well, and the grace is over.
    void settle() {
        cycle_after(0ms);
        cycle_after(60s);
    }

    bool use_policy(const protection_policy& policy) {
        std::string error;
        return protection_->replace_policy(policy, error);
    }
    bool move_to(std::string_view side) {
        std::string error;
        const bool moved = protection_->operate(side, now_, error);
        while (protection_->sequence_waiting()) {
            const outbound_sequence sequence = protection_->take_sequence();
            for (const outbound_action& step : sequence.steps)
                protection_->record_step(sequence, step, true, "", now_);
            protection_->finish_sequence(sequence, true);
        }
        return moved;
    }
    void write_log_line() {
        protection_->note_monitor_failure("a line of the log.", now_);
        cycle_after(250ms);
    }

private:
    controller_registry registry_;
    std::optional<pair_protection> protection_;
    moment now_{.steady = steady_time(1h), .wall_ms = 1'700'000'000'000};
};

// What the two files are to hold; the numbers make each save different from all others.
struct saved_values {
    std::uint32_t loss_ms;
    bool held;
    std::uint16_t port;
};

saved_values values_of(started_show& show) {
    const protection_snapshot shown = show.shown();
    return {.loss_ms = shown.policy.lossMs,
            .held = shown.held_on_backup,
            .port = show.registry().ui_port()};
}

std::string write_values(const saved_values& values) {
    return json_object_writer()
        .number("loss_ms", values.loss_ms)
        .flag("held", values.held)
        .number("port", values.port)
        .written();
}

void say(const std::string& word, const saved_values& values) {
    std::printf("%s %s\n", word.c_str(), write_values(values).c_str());
    std::fflush(stdout);
}

// The four kinds of writing, one after the other.
bool act(started_show& show, int number) {
    saved_values next = values_of(show);
    switch (number % 4) {
    case 0: {
        next.loss_ms = next.loss_ms < highest_loss_ms ? next.loss_ms + 1 : 1000;
        say("begin", next);
        protection_policy policy = show.shown().policy;
        policy.lossMs = next.loss_ms;
        return show.use_policy(policy);
    }
    case 1:
        next.held = !next.held;
        say("begin", next);
        return show.move_to(next.held ? "backup" : "main");
    case 2:
        next.port = next.port < highest_port ? static_cast<std::uint16_t>(next.port + 1) : 2000;
        say("begin", next);
        show.registry().set_ui_port(next.port);
        show.registry().save();
        return true;
    default:
        say("begin", next);
        show.write_log_line();
        return true;
    }
}

int run_acts(const std::string& folder, int count) {
    started_show show(folder);
    if (!show.registry().has_pair()) {
        show.pair_up();
        show.settle();
        if (!show.use_policy(policy_with_actions())) return 1;
    }
    show.settle();
    say("ready", values_of(show));
    for (int number = 0; number < count; ++number) {
        if (!act(show, number)) return 1;
        say("done", values_of(show));
    }
    return 0;
}

std::string log_text(const started_show& show) {
    return read_whole_file(show.alert_log_path(), largest_settings_file).value_or("");
}

// What was there is untouched, and all that came since are whole lines of their own.
bool goes_on(const std::string& before, const std::string& after) {
    if (!after.starts_with(before)) return false;
    std::string_view added = std::string_view(after).substr(before.size());
    if (!before.empty() && !before.ends_with('\n')) {
        if (!added.starts_with('\n')) return false;
        added.remove_prefix(1);
    }
    if (added.empty() || !added.ends_with('\n')) return false;
    while (!added.empty()) {
        const std::size_t end = added.find('\n');
        if (!json_is_value(added.substr(0, end))) return false;
        added.remove_prefix(end + 1);
    }
    return true;
}

bool same(const saved_values& one, const saved_values& other) {
    return one.loss_ms == other.loss_ms && one.held == other.held && one.port == other.port;
}

std::string check(const std::string& folder) {
    const captured_log log;
    started_show show(folder);
    const saved_values found = values_of(show);
    const bool paired = show.registry().has_pair() && show.registry().enabled();
    const std::string refusal = show.shown().last_action;
    const std::string log_before = log_text(show);

    show.settle();
    const bool side_kept = show.shown().held_on_backup == found.held;
    const bool saved = show.use_policy(show.shown().policy);
    show.registry().save();
    show.write_log_line();
    const std::string log_after = log_text(show);
    started_show again(folder);
    return json_object_writer()
        .json("values", write_values(found))
        .flag("paired", paired)
        .text("refusal", refusal)
        .text("told", log.error())
        .flag("side_kept", side_kept)
        .flag("saved", saved && same(values_of(again), found))
        .flag("log_goes_on", goes_on(log_before, log_after))
        .written();
}

int run_checks() {
    std::string folder;
    while (std::getline(std::cin, folder)) {
        std::printf("%s\n", check(folder).c_str());
        std::fflush(stdout);
    }
    return 0;
}

} // namespace
} // namespace elvantris::operator_control::proof

int main(int count, char** arguments) {
    using namespace elvantris::operator_control::proof;
    const std::string_view wanted = count > 1 ? arguments[1] : "";
    if (wanted == "act" && count == 4) return run_acts(arguments[2], std::atoi(arguments[3]));
    if (wanted == "check" && count == 2) return run_checks();
    std::fputs("usage: proof_crash act FOLDER COUNT | check\n", stderr);
    return 2;
}
