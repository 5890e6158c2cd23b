// Walks a model of protection beside the real one through simulated shows.
//   protection_model [--seed NUMBER] [--cycles NUMBER]
// A failure names the invariant, the seed that replays it, and the shortest way to it.
#include "model/show.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace elvantris::operator_control::model;

constexpr std::uint64_t cycles_of_a_show = 2000;
// From so many cycles on, each of these must have come about.
constexpr std::uint64_t cycles_that_show_all = 1'000'000;
constexpr std::array must_happen{"failovers",
                                 "failovers blocked by Backup",
                                 "failovers blocked by a sequence",
                                 "failovers that couldn't be saved",
                                 "changes of the pair",
                                 "changes of the pair found by the operator",
                                 "holds ended by a change of the pair",
                                 "returns by the operator",
                                 "transfers by the operator",
                                 "acts of the operator refused",
                                 "new policies",
                                 "tests of actions",
                                 "sequences finished",
                                 "saves that failed",
                                 "restarts",
                                 "looks at a full list"};

struct options {
    std::uint64_t seed = 1;
    std::uint64_t cycles = cycles_that_show_all;
};

std::optional<options> read_options(const std::vector<std::string_view>& words) {
    options wanted;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        if (i + 1 == words.size()) return std::nullopt;
        std::uint64_t* number = words[i] == "--seed"     ? &wanted.seed
                                : words[i] == "--cycles" ? &wanted.cycles
                                                         : nullptr;
        if (number == nullptr) return std::nullopt;
        const std::string_view text = words[i + 1];
        const auto read = std::from_chars(text.data(), text.data() + text.size(), *number);
        if (read.ec != std::errc() || read.ptr != text.data() + text.size()) return std::nullopt;
    }
    return wanted;
}

void tell_failure(std::uint64_t seed, std::uint64_t cycles, const std::vector<event>& show,
                  const broken_invariant& broken) {
    std::printf("broken: %s\nreplay: protection_model --seed %llu --cycles %llu\n",
                broken.name.c_str(), static_cast<unsigned long long>(seed),
                static_cast<unsigned long long>(cycles));
    const std::vector<event> shortest = shorten(show, broken);
    tally ignored;
    const std::optional<broken_invariant> again = run_show(shortest, ignored);
    std::printf("%s\nthe shortest way there, %zu of %zu events:\n",
                again ? again->detail.c_str() : "", shortest.size(), show.size());
    for (const event& happening : shortest)
        std::printf("  %s\n", describe(happening).c_str());
}

int run(const options& wanted) {
    tally counts;
    const auto begun = std::chrono::steady_clock::now();
    std::uint64_t seed = wanted.seed;
    for (std::uint64_t done = 0; done < wanted.cycles; ++seed) {
        const std::uint64_t cycles = std::min(cycles_of_a_show, wanted.cycles - done);
        const std::vector<event> show = make_show(seed, cycles);
        if (const std::optional<broken_invariant> broken = run_show(show, counts)) {
            tell_failure(seed, cycles, show, *broken);
            return 1;
        }
        done += cycles;
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    std::printf("%llu cycles in %.1f s, %.0f times real time\n",
                static_cast<unsigned long long>(wanted.cycles), seconds,
                static_cast<double>(wanted.cycles * cycle_ms) / 1000 / seconds);
    for (const auto& [what, times] : counts)
        std::printf("%10llu %s\n", static_cast<unsigned long long>(times), what.c_str());
    if (wanted.cycles < cycles_that_show_all) return 0;
    int result = 0;
    for (const char* what : must_happen)
        if (!counts.contains(what)) {
            std::printf("never came about: %s\n", what);
            result = 1;
        }
    return result;
}

} // namespace

int main(int count, char** arguments) {
    const std::optional<options> wanted = read_options({arguments + 1, arguments + count});
    if (!wanted) {
        std::fputs("usage: protection_model [--seed NUMBER] [--cycles NUMBER]\n", stderr);
        return 2;
    }
    return run(*wanted);
}
