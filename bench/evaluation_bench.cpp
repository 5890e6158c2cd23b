#include "protection/pair_protection.hpp"
#include "protection/server_health.hpp"
#include "systems/controller_registry.hpp"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <string>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t largest_reply = 262'144;
constexpr int most_rules = 128;
constexpr int rule_stride = 20; // the rules name outputs from the front to the back of the list

std::string reply_of(const std::string& serial, int gone) {
    std::string text = "{\"serial\":\"" + serial +
                       "\",\"version\":1,\"engineRunning\":true,\"engineResponsive\":true,"
                       "\"telemetryAvailable\":true,\"channels\":[{\"ageMs\":20}],\"outputs\":[";
    for (int i = 0; text.size() < largest_reply - 120; ++i)
        text += std::string(i == 0 ? "" : ",") + "{\"id\":\"output-" + std::to_string(i) +
                "\",\"name\":\"Projector\",\"available\":" + (i < gone ? "false" : "true") + "}";
    return text + "]}";
}

protection_policy largest_policy() {
    protection_policy policy;
    policy.startupMs = 1000;
    for (int i = 0; i < most_rules; ++i) {
        const std::string id = "output-" + std::to_string(i * rule_stride);
        policy.outputRules.push_back({.mainId = id, .backupId = id, .mode = mode_alert});
    }
    return policy;
}

// One evaluation with the most rules and the largest replies on both servers, while the outputs of
// so many rules are gone on each: two alerts stand for each of these.
void evaluate(benchmark::State& state, int gone_rules) {
    const auto folder = std::filesystem::temp_directory_path() / "elvantris-bench";
    std::filesystem::create_directories(folder);
    controller_registry registry((folder / "operator-control.json").string());
    const steady_time start{1h};
    registry.merge_discovered(
        {{.address = "10.0.0.1", .webPort = 1, .workstation = "", .serial = "A"},
         {.address = "10.0.0.2", .webPort = 1, .workstation = "", .serial = "B"}},
        start);
    registry.configure(true, "A", "B");
    pair_protection protection(registry, files_beside(registry.configuration_path()));
    std::string error;
    protection.replace_policy(largest_policy(), error);
    protection.begin(start);
    steady_time now = start;
    const auto cycle = [&] { protection.evaluate_cycle({.steady = now, .wall_ms = 0}); };
    cycle();
    now += 2s;
    const auto hear = [&](const std::string& serial) {
        protection.note_health(serial, read_health_reply(reply_of(serial, gone_rules * rule_stride),
                                                         serial, 1500, now));
    };
    for (int i = 0; i < 3; ++i) { // past the delay of an output's fault, and heard all the while
        hear("A");
        hear("B");
        cycle();
        now += 600ms;
    }
    now -= 600ms;
    for (auto _ : state)
        cycle();
    std::filesystem::remove_all(folder);
}
BENCHMARK_CAPTURE(evaluate, all_outputs_there, 0);
BENCHMARK_CAPTURE(evaluate, ninety_outputs_gone, 90);

// Reading the largest reply, which happens once for each poll, outside of every lock.
void read_largest_reply(benchmark::State& state) {
    const std::string body = reply_of("A", 0);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_health_reply(body, "A", 1500, steady_time{1h}));
}
BENCHMARK(read_largest_reply);

} // namespace
