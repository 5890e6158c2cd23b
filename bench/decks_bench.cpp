#include "decks/base64.hpp"
#include "decks/deck_protocol.hpp"
#include "decks/image_reports.hpp"

#include <benchmark/benchmark.h>
#include <fstream>
#include <random>
#include <string>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t largest_state = 67'108'864;

std::string random_base64(std::size_t size) {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::mt19937 random(64);
    std::string text(size / 4 * 4, '\0');
    for (char& byte : text)
        byte = alphabet[random() % 64];
    return text;
}

void decode(benchmark::State& state) {
    const std::string text = random_base64(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(decode_base64(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(decode)->Arg(8192)->Arg(50'331'648);

std::string key_text(std::size_t index, const std::string& data) {
    return "{\"index\":" + std::to_string(index) + ",\"data\":\"" + data + "\"}";
}

// What stands before and behind the objects of one list in a state.
struct list_place {
    std::string_view before;
    std::string_view behind;
};

constexpr list_place decks{R"({"generation":7,"changed":true,"decks":[)", "]}"};
constexpr list_place keys{
    R"({"generation":7,"changed":true,"decks":[{"serial":"CL12K1A00234","page":1,)"
    R"("useSplash":false,"keys":[)",
    R"(],"scripts":[]}]})"};
constexpr list_place cues{
    R"({"generation":7,"changed":true,"decks":[{"serial":"CL12K1A00234","page":1,)"
    R"("useSplash":false,"keys":[],"scripts":[{"index":0,"cues":[)",
    "]}]}]}"};

std::string state_text(const list_place& place, const std::string& objects) {
    return std::string(place.before) + objects + std::string(place.behind);
}

// All keys of an XL, each with an image of 6 KiB.
void read_xl_state(benchmark::State& state) {
    const std::string data = random_base64(8192);
    std::string objects;
    for (std::size_t key = 0; key < 32; ++key)
        (objects += key_text(key, data)) += ',';
    objects.pop_back();
    const std::string body = state_text(keys, objects);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_deck_state(body, 0));
}
BENCHMARK(read_xl_state)->Unit(benchmark::kMicrosecond);

// As many of these objects as the longest answer holds.
std::string largest_body(const list_place& place, const std::string& object) {
    std::string objects;
    objects.reserve(largest_state);
    while (objects.size() + object.size() + 200 < largest_state)
        (objects += object) += ',';
    objects.pop_back();
    return state_text(place, objects);
}

// Bytes of memory; "VmRSS" is now, "VmHWM" the most since the mark was reset.
double memory(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == name + ':') {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes * 1024;
        }
    return 0;
}

// `peak_by_size` counts the body itself as well.
void read_largest_state(benchmark::State& state, const list_place& place,
                        const std::string& object) {
    const std::string body = largest_body(place, object);
    const double before = memory("VmRSS") - static_cast<double>(body.size());
    std::ofstream("/proc/self/clear_refs") << 5;
    for (auto _ : state)
        benchmark::DoNotOptimize(read_deck_state(body, 0));
    state.counters["peak_by_size"] = (memory("VmHWM") - before) / static_cast<double>(body.size());
}
BENCHMARK_CAPTURE(read_largest_state, images_of_6_kib, keys, key_text(3, random_base64(8192)))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, one_image, keys, key_text(3, random_base64(67'000'000)))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, keys_without_image, keys, key_text(3, {}))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, keys_of_nothing, keys, "{}")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, cues_of_nothing, cues, "{}")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, decks_of_nothing, decks, "{}")->Unit(benchmark::kMillisecond);

// The texts that cost most by their length: each doubles, and so must the time.
void read_hostile_state(benchmark::State& state, const std::string& before,
                        const std::string& repeated, const std::string& behind) {
    std::string objects = before;
    while (objects.size() < static_cast<std::size_t>(state.range(0)))
        objects += repeated;
    const std::string body = state_text(keys, objects + behind);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_deck_state(body, 0));
    state.SetBytesProcessed(static_cast<std::int64_t>(body.size()) * state.iterations());
}
void doubling(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(2)->Range(4 << 20, 16 << 20)->Unit(benchmark::kMillisecond);
}
constexpr const char* image = R"({"data":")";
constexpr const char* image_end = R"("})";
BENCHMARK_CAPTURE(read_hostile_state, open_objects, "", "{", "")->Apply(doubling);
BENCHMARK_CAPTURE(read_hostile_state, open_lists, "", R"({"keys":[)", "")->Apply(doubling);
BENCHMARK_CAPTURE(read_hostile_state, open_texts, "", image, "")->Apply(doubling);
BENCHMARK_CAPTURE(read_hostile_state, backslashes, image, R"(\\)", image_end)->Apply(doubling);
BENCHMARK_CAPTURE(read_hostile_state, escaped_quotes, image, R"(\")", image_end)->Apply(doubling);
BENCHMARK_CAPTURE(read_hostile_state, blank_base64, image, "Q ", image_end)->Apply(doubling);

void convert(benchmark::State& state) {
    const std::string& bmp = black_image(deck_family::family_original);
    for (auto _ : state)
        benchmark::DoNotOptimize(convert_for_original(bmp));
}
BENCHMARK(convert)->Unit(benchmark::kMicrosecond);

} // namespace
