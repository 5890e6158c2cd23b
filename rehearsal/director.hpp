// Watches the program, and plays the scenario that was chosen.
//
// Threads: one of its own, which asks the program ten times a second; the operations from any.
#pragma once

#include "rehearsal/scenario.hpp"
#include "rehearsal/stage.hpp"

#include "stop_signal.hpp"

#include <random>
#include <thread>

namespace elvantris::rehearsal {

class director {
public:
    director(stage& where, simulator::stop_signal& stop);
    ~director();
    director(const director&) = delete;
    director& operator=(const director&) = delete;
    director(director&&) = delete;
    director& operator=(director&&) = delete;

    // Ends a running scenario and begins this one. Returns why it can't begin; empty if it did.
    std::string begin(std::size_t scenario);
    void end();

    // Why `begin` would refuse; empty if it wouldn't.
    std::string why_not(std::size_t scenario) const;

    program_view view() const;
    // The serial of the server that the audience sees; empty before the first pair.
    std::string on_air() const;
    // {"scenario","tookMs":[],"over","whyEnded","reactionMs"}, or null if none was begun.
    nlohmann::ordered_json report_run() const;

private:
    void run();
    void look(std::optional<program_view> view);
    std::string reason_against(std::size_t scenario) const;

    stage& stage_;
    simulator::stop_signal& stop_;
    // Guards everything below. Held during a deed, so that none comes after `end`.
    mutable std::mutex mutex_;
    program_view view_;
    std::string on_air_;
    std::optional<scenario_run> run_;
    std::mt19937 chance_{std::random_device{}()};
    std::thread thread_;
};

} // namespace elvantris::rehearsal
