// What the nastiest text of each parser of foreign bytes costs, at one length and at twice of it: a
// parser is linear if the second figure is about twice the first. The complexity at the end of each
// group is the library's own fit.
#include "decks/deck_protocol.hpp"
#include "json/field_scanner.hpp"
#include "protection/policy.hpp"
#include "protection/server_health.hpp"
#include "systems/controller_registry.hpp"
#include "systems/discovery.hpp"
#include "systems/http_response.hpp"
#include "systems/known_systems.hpp"
#include "systems/pairing_sync.hpp"
#include "systems/registry_state.hpp"
#include "systems/server_replies.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace elvantris::operator_control;

namespace {

std::string repeated(std::string_view piece, std::size_t size) {
    std::string text;
    text.reserve(size + piece.size());
    while (text.size() < size)
        text += piece;
    return text;
}

// Pieces between two ends.
std::string framed(std::string_view front, std::string_view piece, std::string_view back,
                   std::size_t size) {
    return std::string(front) + repeated(piece, size) + std::string(back);
}

std::string headers(std::string_view piece, std::size_t size) {
    return framed("HTTP/1.1 200 OK\r\n", piece, "\r\n\r\n", size);
}

template<typename making, typename parsing>
void measure(benchmark::State& state, const making& make, const parsing& parse) {
    const std::string text = make(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        parse(text);
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) *
                            static_cast<std::int64_t>(state.iterations()));
}

using text_maker = std::string (*)(std::size_t);

void http(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(parse_bounded_response(text));
    });
}
void strings(benchmark::State& state, text_maker make) {
    measure(state, make,
            [](const std::string& text) { benchmark::DoNotOptimize(json_read_string(text, "a")); });
}
void lists(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(json_read_object_list(text, "a"));
    });
}
void int_sets(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(json_read_int_set(text, "a"));
    });
}
void splices(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(splice_operator_control(text, "{}"));
    });
}
void configurations(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        const operator_control_config config = parse_operator_control_config(text);
        benchmark::DoNotOptimize(merge_discovered_configs({config, config}));
    });
}
void registry_files(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        registry_state read;
        read_registry_json(text, read);
        benchmark::DoNotOptimize(read);
    });
}
void health(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(read_health_reply(text, "S", 1000, steady_time{}));
    });
}
void policies(benchmark::State& state, text_maker make) {
    measure(state, make,
            [](const std::string& text) { benchmark::DoNotOptimize(parse_policy(text)); });
}
void deck_states(benchmark::State& state, text_maker make) {
    measure(state, make,
            [](const std::string& text) { benchmark::DoNotOptimize(read_deck_state(text, 0)); });
}
void datagrams(benchmark::State& state, text_maker make) {
    measure(state, make, [](const std::string& text) {
        benchmark::DoNotOptimize(parse_discovery_reply(text, 0x0A000001U));
    });
}

constexpr std::int64_t shorter = 128 << 10;
constexpr std::int64_t longer = 2 * shorter;

#define AT_TWO_LENGTHS(kind, name, make)                                                           \
    BENCHMARK_CAPTURE(                                                                             \
        kind, name, +[](std::size_t size) { return make; })                                        \
        ->Arg(shorter)                                                                             \
        ->Arg(longer)

AT_TWO_LENGTHS(http, field_names_in_one_line, headers("transfer-encoding:\n", size));
AT_TWO_LENGTHS(http, field_names_in_lines, headers("transfer-encoding:\r\n", size));
AT_TWO_LENGTHS(http, field_names_without_ends, headers("transfer-encoding:", size));
AT_TWO_LENGTHS(http, lengths, headers("content-length:", size));
AT_TWO_LENGTHS(http, white_space_of_a_length, headers("content-length: \t", size));
AT_TWO_LENGTHS(http, no_end_of_headers, repeated("\r\n\r", size));
AT_TWO_LENGTHS(http, chunks_of_one_byte,
               framed("HTTP/1.1 200 OK\r\ntransfer-encoding: chunked\r\n\r\n", "1\r\nx\r\n",
                      "0\r\n\r\n", size));
AT_TWO_LENGTHS(http, chunk_extensions,
               framed("HTTP/1.1 200 OK\r\ntransfer-encoding: chunked\r\n\r\n",
                      "1;a=bbbbbbbbbbbbbbbb\r\nx\r\n", "0\r\n\r\n", size));
AT_TWO_LENGTHS(http, zeros_of_a_chunk_size,
               framed("HTTP/1.1 200 OK\r\ntransfer-encoding: chunked\r\n\r\n", "0", "1\r\nx\r\n",
                      size));
AT_TWO_LENGTHS(strings, backslashes, framed(R"({"a":")", R"(\\)", "\"}", size));
AT_TWO_LENGTHS(strings, escaped_quotes, framed(R"({"a":")", R"(\")", "\"}", size));
AT_TWO_LENGTHS(strings, escaped_quotes_without_end, framed(R"({"a":")", R"(\")", "", size));
AT_TWO_LENGTHS(strings, surrogate_pairs, framed(R"({"a":")", R"(\ud83d\ude00)", "\"}", size));
AT_TWO_LENGTHS(strings, keys_in_escapes, framed("", R"("a\")", R"("a":"x")", size));
AT_TWO_LENGTHS(lists, nested_objects, framed(R"({"a":[)", R"({"b":)", "", size));
AT_TWO_LENGTHS(lists, nested_arrays, framed(R"({"a":)", "[", "", size));
AT_TWO_LENGTHS(lists, empty_objects, framed(R"({"a":[)", "{},", "]}", size));
AT_TWO_LENGTHS(lists, stray_braces, framed(R"({"a":[)", "}{", "]}", size));
AT_TWO_LENGTHS(lists, strings, framed(R"({"a":[)", R"("\"",)", "]}", size));
AT_TWO_LENGTHS(int_sets, digits, framed(R"({"a":[)", "9", "]}", size));
AT_TWO_LENGTHS(int_sets, repeated_numbers, framed(R"({"a":[)", "-1,", "]}", size));
AT_TWO_LENGTHS(splices, opened_objects, framed("", R"({"OperatorControl":)", "}", size));
AT_TWO_LENGTHS(splices, values_without_end, framed("{", R"("OperatorControl":{)", "}", size));
AT_TWO_LENGTHS(splices, white_space_ahead_of_the_end, framed("{", " ", "}", size));
AT_TWO_LENGTHS(configurations, systems,
               framed(R"({"enabled":true,"Systems":[)",
                      R"({"Serial":"A","Role":"Main"},{"Serial":"B","Role":"Backup"},)", "]}",
                      size));
AT_TWO_LENGTHS(configurations, systems_without_keys, framed(R"({"Systems":[)", "{},", "]}", size));
AT_TWO_LENGTHS(registry_files, mains_and_backups,
               framed(R"({"systems":[)",
                      R"({"serial":"A","role":"Main"},{"serial":"B","role":"Backup"},)", "]}",
                      size));
AT_TWO_LENGTHS(health, channels,
               framed(R"({"serial":"S","version":1,"channels":[)", "{},", "]}", size));
AT_TWO_LENGTHS(health, outputs,
               framed(R"({"serial":"S","version":1,"outputs":[)", R"({"id":"["},)", "]}", size));
AT_TWO_LENGTHS(policies, rules, framed(R"({"outputRules":[)", "{},", "]}", size));
AT_TWO_LENGTHS(policies, actions, framed(R"({"actions":[)", "{},", "]}", size));
AT_TWO_LENGTHS(deck_states, decks, framed(R"({"Decks":[)", "{},", "]}", size));
AT_TWO_LENGTHS(deck_states, keys_of_one_deck,
               framed(R"({"Decks":[{"Serial":"S","Keys":[)", "{},", "]}]}", size));
AT_TWO_LENGTHS(deck_states, decks_in_decks, framed(R"({"Decks":[{)", R"("Keys":[{)", "", size));
AT_TWO_LENGTHS(datagrams, commas, framed("elvantris-server!,1", ",", "", size));

// The registry's work on the largest round that discovery gives: 1,024 known servers and as many
// unknown ones. The time for which the lock is held is a part of this.
void merging_the_largest_round(benchmark::State& state) {
    const auto answers = [](int first, const std::string& address) {
        std::vector<discovered_server> servers;
        for (int i = first; i < first + 1024; ++i)
            servers.push_back({.address = address + std::to_string(i % 200),
                               .webPort = 5000,
                               .workstation = std::string(900, 'w'),
                               .serial = "SER-" + std::to_string(i)});
        return servers;
    };
    int first = 0;
    controller_registry registry("never-written.json");
    registry.merge_discovered(answers(first, "10.0.0."), steady_now());
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<discovered_server> round = answers(first, "10.0.0.");
        first += 1024;
        std::ranges::move(answers(first, "10.0.1."), std::back_inserter(round));
        state.ResumeTiming();
        registry.merge_discovered(std::move(round), steady_now());
    }
}
BENCHMARK(merging_the_largest_round)->Unit(benchmark::kMillisecond);

// The text of the file and of the status, full of bytes that are six times as long when written.
void writing_the_largest_registry(benchmark::State& state) {
    controller_registry registry("never-written.json");
    std::vector<discovered_server> servers;
    for (int i = 0; i < 1024; ++i)
        servers.push_back({.address = "10.0.0." + std::to_string(i),
                           .webPort = 5000,
                           .workstation = std::string(1000, '\x01'),
                           .serial = "SER-" + std::to_string(i)});
    registry.merge_discovered(std::move(servers), steady_now());
    std::size_t size = 0;
    for (auto _ : state)
        size = registry.to_json().size();
    state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(writing_the_largest_registry)->Unit(benchmark::kMillisecond);

void bounding_the_known_systems(benchmark::State& state) {
    std::vector<system_record> systems;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        system_record system;
        system.serial = "SER-" + std::to_string(i);
        system.address = "10.0.0." + std::to_string(i % 7);
        systems.push_back(system);
    }
    for (auto _ : state) {
        std::vector<system_record> some = systems;
        benchmark::DoNotOptimize(keep_known_systems_bounded(some));
    }
}
BENCHMARK(bounding_the_known_systems)->Arg(1024)->Arg(2048)->Arg(4096);

} // namespace
