#include "json/field_scanner.hpp"

#include <benchmark/benchmark.h>
#include <string>

using namespace elvantris::operator_control;

namespace {

// Text as the servers send it: many short fields, quotes everywhere, and never the key looked for.
std::string outputs_text(std::size_t size) {
    std::string text = "{\"outputs\":[";
    for (std::size_t i = 0; text.size() < size; ++i)
        text += "{\"id\":\"out-" + std::to_string(i) +
                "\",\"name\":\"Projector Left\",\"available\":true,\"known\":true},";
    text.resize(size);
    return text;
}

void find_without_a_hit(benchmark::State& state, const char* key) {
    const std::string text = outputs_text(1U << 20U);
    for (auto _ : state)
        benchmark::DoNotOptimize(json_find_value(text, key));
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) *
                            static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK_CAPTURE(find_without_a_hit, serial, "serial");
BENCHMARK_CAPTURE(find_without_a_hit, engineRunning, "engineRunning");
BENCHMARK_CAPTURE(find_without_a_hit, nearly_available, "availablE");

} // namespace
