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

std::string state_text(const std::string& keys) {
    return R"({"generation":7,"changed":true,"decks":[{"serial":"CL12K1A00234","page":1,)"
           R"("useSplash":false,"keys":[)" +
           keys + "],\"scripts\":[]}]}";
}

// All keys of an XL, each with an image of 6 KiB.
void read_xl_state(benchmark::State& state) {
    const std::string data = random_base64(8192);
    std::string keys;
    for (std::size_t key = 0; key < 32; ++key)
        (keys += key_text(key, data)) += ',';
    keys.pop_back();
    const std::string body = state_text(keys);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_deck_state(body, 0));
}
BENCHMARK(read_xl_state)->Unit(benchmark::kMicrosecond);

// As many of these keys as the longest answer holds.
std::string largest_body(const std::string& key) {
    std::string keys;
    keys.reserve(largest_state);
    while (keys.size() + key.size() + 200 < largest_state)
        (keys += key) += ',';
    keys.pop_back();
    return state_text(keys);
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
void read_largest_state(benchmark::State& state, const std::string& key) {
    const std::string body = largest_body(key);
    const double before = memory("VmRSS") - static_cast<double>(body.size());
    std::ofstream("/proc/self/clear_refs") << 5;
    for (auto _ : state)
        benchmark::DoNotOptimize(read_deck_state(body, 0));
    state.counters["peak_by_size"] = (memory("VmHWM") - before) / static_cast<double>(body.size());
}
BENCHMARK_CAPTURE(read_largest_state, images_of_6_kib, key_text(3, random_base64(8192)))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, one_image, key_text(3, random_base64(67'000'000)))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, keys_without_image, key_text(3, {}))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_largest_state, empty_keys, "{}")->Unit(benchmark::kMillisecond);

void convert(benchmark::State& state) {
    const std::string& bmp = black_image(deck_family::family_original);
    for (auto _ : state)
        benchmark::DoNotOptimize(convert_for_original(bmp));
}
BENCHMARK(convert)->Unit(benchmark::kMicrosecond);

} // namespace
