#include "model/show.hpp"

#include "model/protection_model.hpp"
#include "protection/pair_protection.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <set>
#include <utility>

namespace elvantris::operator_control::model {
namespace {

constexpr std::uint64_t cycles_between_full_looks = 50;

struct invariant_failure {
    std::string name;
    std::string detail;
};

void require(bool holds, const char* name, const std::string& detail) {
    if (!holds) throw invariant_failure{name, detail};
}

protection_policy real_policy(const plan& wanted) {
    protection_policy policy;
    policy.armed = wanted.armed;
    policy.lossMs = static_cast<std::uint32_t>(wanted.loss_ms);
    policy.outputMs = static_cast<std::uint32_t>(wanted.output_ms);
    policy.startupMs = static_cast<std::uint32_t>(wanted.startup_ms);
    policy.server = wanted.server;
    policy.engine = wanted.engine;
    policy.responsive = wanted.responsive;
    policy.frames = wanted.frames;
    policy.sync = wanted.sync;
    policy.clock = wanted.clock;
    policy.resources = wanted.resources;
    for (const planned_rule& rule : wanted.rules)
        policy.outputRules.push_back({output_name(rule.main), output_name(rule.backup), rule.mode});
    for (const planned_step& step : wanted.steps) {
        outbound_action action;
        action.name = step_name(step.name);
        action.event = step.on_main ? "main" : "backup";
        action.host = "127.0.0.1";
        action.port = 9;
        action.payload = "GO";
        action.enabled = step.enabled;
        policy.actions.push_back(action);
    }
    return policy;
}

bool same_policy(const protection_policy& real, const plan& expected) {
    return real.armed == expected.armed && real.lossMs == expected.loss_ms &&
           real.outputMs == expected.output_ms && real.startupMs == expected.startup_ms &&
           real.server == expected.server && real.engine == expected.engine &&
           real.responsive == expected.responsive && real.frames == expected.frames &&
           real.sync == expected.sync && real.clock == expected.clock &&
           real.resources == expected.resources &&
           real.outputRules.size() == expected.rules.size() &&
           real.actions.size() == expected.steps.size();
}

// What an action line of the log says beside the list's own changes.
bool is_action(const std::string& line) {
    return line.find(R"("event":"action")") != std::string::npos;
}

constexpr std::array<const char*, 9> words{"acknowledge", "arm",  "disarm", "backup", "main",
                                           "backup",      "main", "arm",    "return"};

class stage {
public:
    explicit stage(tally& counts) : counts_(counts), registry_("model/operator-control.json") {
        std::vector<discovered_server> servers;
        for (int server = 0; server < server_count; ++server)
            servers.push_back({"127.0.0." + std::to_string(server + 1), 5000, serial_of(server),
                               serial_of(server)});
        registry_.merge_discovered(std::move(servers), steady());
        configure();
        start(false);
        look_closely({.kind = event_kind::restart});
    }

    void play(const event& happening) {
        saves_ = good_saves_ = 0;
        lines_.clear();
        model_->saves = 0;
        model_->lines.clear();
        act(happening);
        const bool quiet = happening.kind == event_kind::cycle && saves_ == 0 && lines_.empty() &&
                           model_->saves == 0 && model_->lines.empty();
        if (!quiet || ++quiet_cycles_ == cycles_between_full_looks) {
            look_closely(happening);
            quiet_cycles_ = 0;
        }
        check_active(happening.kind == event_kind::cycle);
    }

private:
    struct last_look {
        bool held = false;
        bool armed = true;
        std::deque<alert_record> alerts;
        std::uint64_t highest_id = 0;
    };

    steady_time steady() const { return steady_time(milliseconds(now_.steady)); }
    moment now_on_both() const { return {steady(), now_.wall}; }
    void pass(std::int64_t ms) {
        now_.steady += ms;
        now_.wall += ms;
    }
    void count(const char* what, bool happened = true) {
        if (happened) ++counts_[what];
    }

    void act(const event& happening) {
        switch (happening.kind) {
        case event_kind::cycle:
            cycle(happening);
            break;
        case event_kind::pause:
            pass(happening.ms);
            now_.wall += 1000 * static_cast<std::int64_t>(happening.a);
            break;
        case event_kind::operate:
            operate(words.at(happening.a));
            break;
        case event_kind::policy:
            replace(plan_for(happening.a));
            break;
        case event_kind::test_action:
            test_action(happening.a);
            break;
        case event_kind::worker:
            work(happening.a);
            break;
        case event_kind::pair:
            change_pair(happening.a);
            break;
        case event_kind::enabled:
            around_.enabled = happening.flag;
            configure();
            break;
        case event_kind::replication:
            around_.replicas.at(happening.a) = replication_for(happening.b);
            tell_replication();
            break;
        case event_kind::disk:
            around_.saves_fail = happening.flag;
            break;
        case event_kind::restart:
            pass(happening.ms);
            start(happening.flag);
            break;
        case event_kind::monitor_failure:
            real_->note_monitor_failure("test", now_on_both());
            model_->monitor_failed("test", now_);
            break;
        }
    }

    void start(bool unreadable) {
        registry_.set_active_override(false, "");
        real_.emplace(registry_, disk(unreadable));
        model_.emplace(around_, model_disk_);
        model_->load(unreadable);
        before_ = {};
        real_->begin(steady());
        model_->begin(now_);
        count("restarts");
    }

    protection_disk disk(bool unreadable) {
        protection_disk fake;
        fake.load = [this, unreadable](saved_protection& saved, std::string& error) {
            if (!unreadable)
                saved = disk_;
            else
                error = "unreadable";
        };
        fake.save = [this](const saved_protection& saved) {
            ++saves_;
            if (around_.saves_fail) return false;
            ++good_saves_;
            disk_ = saved;
            return true;
        };
        fake.append = [this](std::string_view lines) {
            while (!lines.empty()) {
                const std::size_t end = lines.find('\n') + 1;
                lines_.emplace_back(lines.substr(0, end));
                lines.remove_prefix(end);
            }
        };
        return fake;
    }

    void cycle(const event& happening) {
        pass(happening.ms);
        if (around_.main != nobody) hear(around_.main, happening.flag ? 0 : happening.a);
        if (around_.backup != nobody) hear(around_.backup, happening.flag ? 0 : happening.b);
        real_->evaluate_cycle(now_on_both(), {.holds_operation = happening.flag});
        model_->evaluate(now_, happening.flag);
    }

    void hear(int server, std::uint32_t says) {
        model_->hear(server, says, now_);
        std::optional<server_health> health;
        if ((says & answered) != 0) {
            const auto has = [says](std::uint32_t bit) { return (says & bit) != 0; };
            const heard& known = model_->heard_of(server);
            health.emplace();
            health->reachable = true;
            health->supported = has(supported);
            health->engineRunning = has(engine_running);
            health->engineResponsive = has(engine_responsive);
            health->telemetryAvailable = has(telemetry);
            health->engineStarting = has(engine_starting);
            health->frameStalled = has(frames_stalled);
            health->clockFault = has(clock_fault);
            health->resourcePressure = has(pressure);
            health->lastSeen = steady_time(milliseconds(known.seen));
            health->outputs = "[]";
            // Of those that don't work, every second one isn't even listed.
            for (int output = 0; output < known.listed_outputs; ++output)
                if (const bool works = output_works(known, output); works || output % 2 == 0)
                    health->available_outputs.emplace(output_name(output), works);
        }
        real_->note_health(serial_of(server), std::move(health));
    }

    void operate(const std::string& word) {
        std::string real_error;
        std::string model_error;
        const bool real_done = real_->operate(word, now_on_both(), real_error);
        const bool model_done = model_->operate(word, now_, model_error);
        require(real_done == model_done && real_error == model_error,
                "the operator gets the answer that the rules give",
                word + ": \"" + real_error + "\" instead of \"" + model_error + '"');
        word_ = word;
        count("acts of the operator refused", !real_done);
        const unsigned saves_of_a_pair = model_->facts().pair_changed ? 1 : 0;
        count("changes of the pair found by the operator", saves_of_a_pair == 1);
        count("transfers by the operator",
              real_done && good_saves_ > saves_of_a_pair && (word == "main" || word == "backup"));
    }

    void replace(const plan& wanted) {
        std::string real_error;
        std::string model_error;
        const bool real_done = real_->replace_policy(real_policy(wanted), real_error);
        const bool model_done = model_->replace(wanted, model_error);
        require(real_done == model_done && real_error == model_error,
                "the operator gets the answer that the rules give", "policy: " + real_error);
        count("new policies", real_done);
    }

    void test_action(std::uint32_t number) {
        const std::vector<planned_step>& steps = model_->now_held().policy.steps;
        std::string error;
        if (!real_->test_action(static_cast<std::int32_t>(number), error)) return;
        require(!model_->busy() && number < steps.size(), "one outbound sequence at a time",
                "a test of action " + std::to_string(number) + " was queued");
        model_->test_queued({.name = "Test action", .steps = {steps.at(number)}});
        count("tests of actions");
    }

    void work(std::uint32_t choice) {
        if (model_->waiting() && !model_->running()) {
            require(real_->sequence_waiting(),
                    "the outbound sequence is what the transfer asked for", "none is waiting");
            in_hand_ = model_->take();
            real_in_hand_ = real_->take_sequence();
            bool same = real_in_hand_.name == in_hand_.name &&
                        real_in_hand_.steps.size() == in_hand_.steps.size();
            for (std::size_t i = 0; same && i < in_hand_.steps.size(); ++i)
                same = real_in_hand_.steps[i].name == step_name(in_hand_.steps[i].name);
            require(same, "the outbound sequence is what the transfer asked for",
                    real_in_hand_.name + " instead of " + in_hand_.name);
        } else if (model_->running() && choice % 3 == 0) {
            real_->finish_sequence(real_in_hand_, choice % 2 == 0);
            model_->finish();
            count("sequences finished");
        } else if (model_->running()) {
            const std::size_t step = choice / 3 % in_hand_.steps.size();
            const bool sent = choice % 4 != 1;
            real_->record_step(real_in_hand_, real_in_hand_.steps[step], sent, sent ? "" : "no way",
                               now_on_both());
            model_->recorded(in_hand_.steps[step], sent, real_->snapshot(steady()).last_action,
                             now_);
            require(std::erase_if(lines_, is_action) == 1, "log lines match the list's changes",
                    "a step must leave one line");
        }
    }

    void change_pair(std::uint32_t number) {
        constexpr std::array<std::pair<int, int>, 4> pairs{{{0, 1}, {0, 1}, {0, 2}, {1, 0}}};
        if (number < pairs.size()) {
            around_.main = pairs.at(number).first;
            around_.backup = pairs.at(number).second;
            configure();
            return;
        }
        dismiss(around_.backup);
        if (number == pairs.size() + 1) dismiss(around_.main);
    }
    void dismiss(int& server) {
        if (server == nobody) return;
        registry_.set_role(serial_of(server), system_role::independent, "");
        server = nobody;
    }

    void configure() {
        const bool pair = around_.main != nobody && around_.backup != nobody;
        registry_.configure(around_.enabled, pair ? serial_of(around_.main) : "",
                            pair ? serial_of(around_.backup) : "");
        tell_replication();
    }

    void tell_replication() {
        for (int server = 0; server < server_count; ++server) {
            const replication& known = around_.replicas.at(static_cast<std::size_t>(server));
            replication_status status;
            status.enabled = true;
            status.revision = known.revision;
            status.applied_revision = known.applied;
            status.pending_media = known.pending;
            status.last_error = known.error ? "error" : "";
            registry_.set_replication(serial_of(server), status);
        }
    }

    void check_disk() {
        require(saves_ == model_->saves, "a save for each change and no other",
                std::to_string(saves_) + " saves instead of " + std::to_string(model_->saves));
        if (lines_ != model_->lines) {
            std::string text;
            for (const std::string& line : lines_)
                text += "\n  wrote    " + line;
            for (const std::string& line : model_->lines)
                text += "\n  expected " + line;
            require(false, "log lines match the list's changes", text);
        }
        count("saves that failed", saves_ > good_saves_);
    }

    // A cycle also tells the registry which servers have been heard.
    void check_active(bool after_cycle) {
        const bool pair = around_.main != nobody && around_.backup != nobody;
        if (!pair || !around_.enabled || !model_->pinned()) return;
        const std::optional<system_record> active = registry_.active_system();
        const std::string found = active ? active->serial + " is active" : "none is active";
        const int side = model_->now_held().held ? around_.backup : around_.main;
        require(!after_cycle || !active || active->serial == serial_of(side), "never two sides",
                found);
        require(!active || active->serial == serial_of(model_->pinned_server()),
                "only the server that protection has pinned is active", found);
        if (!after_cycle) return;
        require(active.has_value() == model_->fresh(model_->pinned_server(), now_),
                "only a server heard lately is active", serial_of(model_->pinned_server()));
    }

    void look_closely(const event& happening) {
        const protection_snapshot shown = real_->snapshot(steady());
        if (happening.kind == event_kind::restart)
            require(shown.held_on_backup == model_->now_held().held, "a hold survives a restart",
                    "");
        else
            check_moves(happening, shown);
        check_disk();
        check_list(shown.alerts);
        compare(shown);
        before_.held = shown.held_on_backup;
        before_.armed = shown.policy.armed;
        before_.alerts = shown.alerts;
        if (!shown.alerts.empty())
            before_.highest_id = std::max(before_.highest_id, shown.alerts.back().id);
    }

    void check_moves(const event& happening, const protection_snapshot& shown) {
        const bool in_cycle = happening.kind == event_kind::cycle;
        const cycle_facts& facts = model_->facts();
        const bool moved = !before_.held && shown.held_on_backup;
        const bool returned = before_.held && !shown.held_on_backup;
        const bool asked = happening.kind == event_kind::operate;
        const bool changed_pair = (in_cycle || asked) && facts.pair_changed;
        require(!returned || changed_pair || (asked && word_ == "main"), "no return by itself", "");
        require(!moved || in_cycle || (asked && word_ == "backup"), "no move without a cause", "");
        if (in_cycle && moved) {
            require(facts.armed, "no move while disarmed", "");
            require(facts.enabled, "no move while the pair is disabled", "");
            require(!facts.in_grace, "no move in grace", "");
            require(!facts.held, "no move while held", "");
            require(!facts.busy, "no move while an outbound sequence is busy", "");
            require(facts.ready, "no move to a Backup that isn't ready", "");
            require(facts.main_fault, "no move without a confirmed fault", "");
            require(!facts.cut_off, "no move while the workstation is cut off", "");
        }
        const bool open = in_cycle && facts.pair && facts.enabled && !facts.held &&
                          !facts.in_grace && facts.armed && facts.main_fault && !facts.cut_off;
        if (open && facts.ready && !facts.busy && !around_.saves_fail)
            require(shown.held_on_backup,
                    "a confirmed fault with all gates open moves in that cycle", "");
        if ((moved || returned) && !changed_pair)
            require(good_saves_ > 0 && disk_.heldOnBackup == shown.held_on_backup,
                    "nothing active that isn't saved", "");
        if (saves_ > 0 && good_saves_ == 0 && !changed_pair)
            require(shown.held_on_backup == before_.held && shown.policy.armed == before_.armed,
                    "a failed save changes nothing", "");
        count("failovers", in_cycle && moved);
        count("failovers blocked by Backup", open && !facts.ready);
        count("failovers blocked by a sequence", open && facts.ready && facts.busy);
        count("failovers that couldn't be saved",
              open && facts.ready && !facts.busy && around_.saves_fail);
        count("changes of the pair", changed_pair);
        count("holds ended by a change of the pair", changed_pair && returned);
        count("returns by the operator", returned && asked);
    }

    void check_list(const std::deque<alert_record>& alerts) {
        require(alerts.size() <= 200, "at most 200 alerts", std::to_string(alerts.size()));
        std::set<std::string_view> active;
        std::uint64_t last_id = 0;
        auto known = before_.alerts.begin();
        for (const alert_record& alert : alerts) {
            require(!alert.active || active.insert(alert.key).second, "one active alert for a key",
                    alert.key);
            while (known != before_.alerts.end() && known->id < alert.id)
                ++known;
            const bool old = known != before_.alerts.end() && known->id == alert.id;
            require(alert.id > last_id &&
                        (old ? known->key == alert.key && known->message == alert.message
                             : alert.id > before_.highest_id),
                    "ids are never reused", std::to_string(alert.id));
            require(!old || known->active || !alert.active, "what has recovered stays recovered",
                    alert.key);
            last_id = alert.id;
        }
        count("looks at a full list", alerts.size() == 200);
    }

    void compare(const protection_snapshot& shown) {
        const memory& expected = model_->now_held();
        require(shown.held_on_backup == expected.held, "held as the model is", "");
        require(same_policy(shown.policy, expected.policy), "the policy is the one last saved", "");
        require(shown.actions_busy == model_->busy(), "busy as long as a sequence waits or runs",
                "");
        require(model_->jobs() <= 1, "one outbound sequence at a time", "");
        require(disk_.heldOnBackup == model_disk_.held &&
                    disk_.pairMain == serial_of(model_disk_.pair_main) &&
                    disk_.pairBackup == serial_of(model_disk_.pair_backup) &&
                    same_policy(disk_.policy, model_disk_.policy),
                "the file holds what was saved last", "");
        compare_alerts(shown.alerts);
        compare_servers(shown.servers);
    }

    void compare_alerts(const std::deque<alert_record>& alerts) {
        const std::deque<alert>& expected = model_->alerts();
        bool same = alerts.size() == expected.size();
        for (std::size_t i = 0; same && i < alerts.size(); ++i) {
            const alert_record& real = alerts[i];
            const alert& model = expected[i];
            same = real.id == model.id && real.message == model.message &&
                   static_cast<int>(real.severity) == model.severity &&
                   real.started == model.started && real.recovered == model.recovered &&
                   real.active == model.active && real.acknowledged == model.acknowledged;
            require(same, "the list is the model's",
                    real.key + " \"" + real.message + "\" against " + key_text(model.key) + " \"" +
                        model.message + '"');
        }
        require(same, "the list is the model's",
                std::to_string(alerts.size()) + " records instead of " +
                    std::to_string(expected.size()));
    }

    void compare_servers(const std::vector<shown_server>& servers) {
        std::size_t polled = 0;
        for (int server = 0; server < server_count; ++server)
            if (model_->heard_of(server).polled) ++polled;
        require(servers.size() == polled, "the status shows what was heard",
                std::to_string(servers.size()) + " servers");
        for (const shown_server& real : servers) {
            int server = 0;
            while (server + 1 < server_count && serial_of(server) != real.serial)
                ++server;
            const heard& known = model_->heard_of(server);
            const auto has = [&](std::uint32_t bit) { return (known.says & bit) != 0; };
            require(real.age_ms == (has(answered) ? now_.steady - known.seen : -1) &&
                        real.supported == has(supported) &&
                        real.engine_running == has(engine_running) &&
                        real.engine_responsive == has(engine_responsive) &&
                        real.telemetry_available == has(telemetry) &&
                        real.frame_stalled == has(frames_stalled),
                    "the status shows what was heard", real.serial);
        }
    }

    tally& counts_;
    controller_registry registry_;
    times now_{.steady = 1'000'000, .wall = 1'700'000'000'000};
    surroundings around_;
    saved_protection disk_;
    memory model_disk_;
    std::optional<pair_protection> real_;
    std::optional<protection_model> model_;
    outbound_sequence real_in_hand_;
    job in_hand_;
    std::string word_; // the operator's last
    unsigned saves_ = 0;
    unsigned good_saves_ = 0;
    std::vector<std::string> lines_;
    last_look before_;
    std::uint64_t quiet_cycles_ = 0;
};

} // namespace

std::optional<broken_invariant> run_show(const std::vector<event>& show, tally& counts) {
    std::size_t place = 0;
    try {
        stage played(counts);
        for (; place < show.size(); ++place)
            played.play(show[place]);
    } catch (const invariant_failure& failure) {
        return broken_invariant{failure.name, failure.detail, place};
    }
    return std::nullopt;
}

std::vector<event> shorten(std::vector<event> show, const broken_invariant& found) {
    tally ignored;
    const auto still_fails = [&](const std::vector<event>& tried) {
        const std::optional<broken_invariant> broken = run_show(tried, ignored);
        return broken && broken->name == found.name;
    };
    show.resize(std::min(show.size(), found.event + 1));
    for (std::size_t length = std::max<std::size_t>(show.size() / 2, 1);;) {
        bool shorter = false;
        for (std::size_t from = 0; from < show.size();) {
            std::vector<event> tried = show;
            const auto first = tried.begin() + static_cast<std::ptrdiff_t>(from);
            tried.erase(first,
                        first + static_cast<std::ptrdiff_t>(std::min(length, show.size() - from)));
            if (still_fails(tried)) {
                show = std::move(tried);
                shorter = true;
            } else {
                from += length;
            }
        }
        if (length == 1 && !shorter) return show;
        length = std::max<std::size_t>(length / 2, 1);
    }
}

} // namespace elvantris::operator_control::model
