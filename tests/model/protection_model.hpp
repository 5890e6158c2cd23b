// A second, independent account of how protection behaves. It shares no code with the program: the
// servers, outputs and keys are numbers here, times are milliseconds, and nothing is tuned but its
// speed.
#pragma once

#include "model/events.hpp"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control::model {

inline constexpr int nobody = -1;
inline constexpr int server_count = 3;
std::string serial_of(int server);
std::string output_name(int output);
std::string step_name(int step);

struct planned_rule {
    int main = 0;
    int backup = nobody;
    unsigned mode = 0;
};
struct planned_step {
    int name = 0;
    bool on_main = false; // else on a transfer to Backup
    bool enabled = false;
};
struct plan {
    bool armed = true;
    std::int64_t loss_ms = 1000;
    std::int64_t output_ms = 1000;
    std::int64_t startup_ms = 5000;
    unsigned server = 2;
    unsigned engine = 2;
    unsigned responsive = 2;
    unsigned frames = 2;
    unsigned sync = 1;
    unsigned clock = 1;
    unsigned resources = 1;
    std::vector<planned_rule> rules;
    std::vector<planned_step> steps;
};
plan plan_for(std::uint32_t number);

// What outlives a restart.
struct memory {
    plan policy;
    bool held = false;
    int pair_main = nobody;
    int pair_backup = nobody;
};

struct replication {
    std::int64_t revision = 0;
    std::int64_t applied = 0;
    int pending = 0;
    bool error = false;
};
replication replication_for(std::uint32_t number);

// What protection finds around itself.
struct surroundings {
    bool enabled = true;
    int main = 0;
    int backup = 1;
    std::array<replication, server_count> replicas{};
    bool saves_fail = false;
};

struct alert {
    std::uint64_t id = 0;
    int key = 0;
    std::string message;
    int severity = 0; // 0 notice, 1 warning, 2 critical
    std::int64_t started = 0;
    std::int64_t recovered = 0;
    bool active = true;
    bool acknowledged = false;
};
std::string key_text(int key);

struct heard {
    bool polled = false;
    std::uint32_t says = 0;
    int listed_outputs = 0; // the server knew so many when it spoke
    std::int64_t seen = 0;
};
bool output_works(const heard& known, int output);

struct job {
    std::string name;
    std::vector<planned_step> steps;
};

// What the last cycle was judged by; an act of the operator may change the pair too.
struct cycle_facts {
    bool pair = false;
    bool pair_changed = false;
    bool enabled = false;
    bool held = false;
    bool in_grace = false;
    bool armed = false;
    bool main_fault = false;
    bool ready = false;
    bool busy = false;
    bool cut_off = false;
};

struct times {
    std::int64_t steady = 0;
    std::int64_t wall = 0;
};

class protection_model {
public:
    protection_model(const surroundings& around, memory& disk) : around_(around), disk_(disk) {}

    void load(bool unreadable);
    void begin(const times& now);
    void hear(int server, std::uint32_t says, const times& now);
    void evaluate(const times& now, bool cut_off);
    void monitor_failed(std::string_view what, const times& now);
    bool replace(const plan& wanted, std::string& error);
    bool operate(std::string_view word, const times& now, std::string& error);
    void test_queued(const job& test) { waiting_.push_back(test); }
    job take();
    void recorded(const planned_step& step, bool sent, const std::string& text, const times& now);
    void finish() { running_ = false; }

    const memory& now_held() const { return memory_; }
    const cycle_facts& facts() const { return facts_; }
    const std::deque<alert>& alerts() const { return alerts_; }
    const heard& heard_of(int server) const { return health_.at(static_cast<std::size_t>(server)); }
    bool busy() const { return running_ || !waiting_.empty(); }
    bool running() const { return running_; }
    std::size_t jobs() const { return waiting_.size() + (running_ ? 1 : 0); }
    bool waiting() const { return !waiting_.empty(); }
    bool fresh(int server, const times& now) const;
    bool pinned() const { return pinned_; }
    int pinned_server() const { return pinned_server_; }

    // What the disk should have seen since they were last emptied.
    std::vector<std::string> lines;
    unsigned saves = 0;

private:
    static constexpr std::size_t key_count = 1024;

    void set(int key, bool active, std::string_view message, int severity, const times& now);
    bool timer(int key, bool condition, std::int64_t delay, const times& now);
    void check(int server, int name, bool condition, unsigned mode, std::int64_t delay,
               std::string_view message, const times& now);
    void check_server(int server, const times& now);
    void check_sync(const times& now);
    void decide(const times& now);
    bool pair_is_new() const;
    void change_pair(const times& now);
    void settle();
    bool ready(int server, const times& now) const;
    bool transfer(int target, bool to_backup, std::string_view reason, const times& now,
                  std::string& error);
    bool save();

    const surroundings& around_;
    memory& disk_;
    memory memory_;
    std::array<heard, server_count> health_{};
    std::array<std::optional<std::int64_t>, key_count> timers_{};
    std::array<bool, key_count> standing_{};
    std::deque<alert> alerts_;
    std::uint64_t last_id_ = 0;
    std::deque<job> waiting_;
    bool running_ = false;
    std::int64_t grace_start_ = 0;
    int active_ = nobody;
    bool pinned_ = false;
    int pinned_server_ = nobody;
    cycle_facts facts_;
    std::string reason_;
};

} // namespace elvantris::operator_control::model
