#include "os/name_lookup.hpp"

#include "os/wait_under_lock.hpp"

#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

namespace elvantris::operator_control {

struct name_lookup::lookup {
    bool done = false;
    resolve_attempt answer;
};

struct name_lookup::shared_state {
    resolver resolve;
    std::mutex lock; // guards all that follows, each lookup's fields included
    std::condition_variable answered;
    std::map<host_query, std::shared_ptr<lookup>> under_way; // at most `most_at_once`
};

namespace {

resolve_attempt could_not_ask() {
    return {.addresses = {}, .failure = network_failure::no_resources};
}

} // namespace

name_lookup::name_lookup(resolver resolve) : state_(std::make_shared<shared_state>()) {
    state_->resolve = std::move(resolve);
}

void name_lookup::run(shared_state& state, lookup& running, const host_query& query) {
    resolve_attempt answer;
    try {
        answer = state.resolve(query);
    } catch (const std::exception&) {
        // There was no memory. An exception would end the program here.
        answer = could_not_ask();
    }
    const std::lock_guard lock(state.lock);
    running.answer = std::move(answer);
    running.done = true;
    state.under_way.erase(query);
    state.answered.notify_all();
}

resolve_attempt name_lookup::find(const host_query& query, const call_limits& limits) {
    std::unique_lock lock(state_->lock);
    auto known = state_->under_way.find(query);
    if (known == state_->under_way.end()) {
        if (state_->under_way.size() >= most_at_once) return could_not_ask();
        known = state_->under_way.emplace(query, std::make_shared<lookup>()).first;
        try {
            std::thread([state = state_, running = known->second, query] {
                run(*state, *running, query);
            }).detach();
        } catch (const std::exception&) { // no thread, or no memory for it
            state_->under_way.erase(known);
            return could_not_ask();
        }
    }
    const std::shared_ptr<lookup> running = known->second;
    if (!wait_under_lock(lock, state_->answered, limits, [&] { return running->done; }))
        return {.addresses = {}, .failure = network_failure::unanswered};
    return running->answer;
}

resolve_attempt try_to_resolve(const std::string& host, std::uint16_t port, address_family family,
                               transport kind, const call_limits& limits) {
    if (auto numeric = look_up_address(host, port, family, kind, host_text::numeric);
        !numeric.addresses.empty())
        return numeric;
    // One for the whole process, because the limit on lookups is for the whole process.
    static name_lookup names([](const host_query& query) {
        return look_up_address(query.host, query.port, query.family, query.kind, host_text::any);
    });
    return names.find({.host = host, .port = port, .family = family, .kind = kind}, limits);
}

std::vector<socket_address> resolve_address(const std::string& host, std::uint16_t port,
                                            address_family family, transport kind,
                                            const call_limits& limits) {
    return try_to_resolve(host, port, family, kind, limits).addresses;
}

} // namespace elvantris::operator_control
