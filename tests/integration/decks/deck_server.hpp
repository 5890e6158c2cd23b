// A server as the decks know it: answers the five calls as the test says and keeps what it was
// asked, the calls in short.
#pragma once

#include "integration/support/eventually.hpp"
#include "integration/support/scripted_peer.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

class deck_server {
public:
    std::uint16_t port() const { return peer_.port(); }

    // The status of one of the calls from now on: "Register", "State", "KeyEvent", "SetPage",
    // "Detach".
    void answer(const std::string& call, int status) {
        const std::lock_guard lock(mutex_);
        statuses_[call] = status;
    }
    // The state of the next poll that gets a 200; without one it says that nothing has changed.
    void show(const std::string& state) {
        const std::lock_guard lock(mutex_);
        states_.push_back(state);
    }
    // Whether the calls of one kind wait for their answer until they are let go.
    void hold(const std::string& kind, bool held) {
        const std::lock_guard lock(mutex_);
        if (held)
            held_.insert(kind);
        else
            held_.erase(kind);
    }
    bool is_holding(const std::string& kind) const {
        const std::lock_guard lock(mutex_);
        return waiting_.contains(kind);
    }

    // "Register {...}", "State 7", "KeyEvent {...}", "SetPage {...}", "Detach {...}".
    std::vector<std::string> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }
    // When each call of one kind came.
    std::vector<steady_time> times(const std::string& kind) const {
        const std::lock_guard lock(mutex_);
        const auto found = times_.find(kind);
        return found == times_.end() ? std::vector<steady_time>() : found->second;
    }
    std::vector<std::string> calls(std::string_view kind) const {
        std::vector<std::string> found = calls();
        std::erase_if(found, [&](const std::string& call) { return !call.starts_with(kind); });
        return found;
    }
    std::vector<std::string> calls_but(std::string_view kind) const {
        std::vector<std::string> found = calls();
        std::erase_if(found, [&](const std::string& call) { return call.starts_with(kind); });
        return found;
    }
    void forget_calls() {
        const std::lock_guard lock(mutex_);
        calls_.clear();
    }
    bool wait_for(const std::string& call) const {
        return eventually([&] {
            const std::vector<std::string> found = calls();
            return std::ranges::find(found, call) != found.end();
        });
    }
    std::size_t connections() const { return peer_.connections(); }

private:
    // "OperatorDeckState?sessionId=x&since=7" becomes "State 7".
    static std::string in_short(const std::string& request) {
        const std::string target = request_target(request);
        const std::string operation = target.substr(target.find("OperatorDeck") + 12);
        if (!operation.starts_with("State")) return operation + ' ' + request_body(request);
        return "State " + operation.substr(operation.find("&since=") + 7);
    }
    void serve(peer_connection& connection) {
        const std::string call = in_short(connection.read_request());
        const std::string kind = call.substr(0, call.find(' '));
        {
            const std::lock_guard lock(mutex_);
            calls_.push_back(call);
            times_[kind].push_back(steady_now());
        }
        wait_while_held(kind, connection);
        std::string reply;
        {
            const std::lock_guard lock(mutex_);
            const auto status = statuses_.find(kind);
            const int code = status == statuses_.end() ? 200 : status->second;
            std::string body = "{}";
            if (kind == "State" && code == 200 && !states_.empty()) {
                body = states_.front();
                states_.pop_front();
            }
            reply = http_reply_text(code, body);
        }
        connection.send(reply);
    }

    void wait_while_held(const std::string& kind, const peer_connection& connection) {
        std::unique_lock lock(mutex_);
        if (!held_.contains(kind)) return;
        const auto waiting = waiting_.insert(kind);
        while (held_.contains(kind) && connection.wanted()) {
            lock.unlock();
            std::this_thread::sleep_for(milliseconds(2));
            lock.lock();
        }
        waiting_.erase(waiting);
    }

    mutable std::mutex mutex_; // guards all below but `peer_`
    std::map<std::string, int> statuses_;
    std::deque<std::string> states_;
    std::vector<std::string> calls_;
    std::map<std::string, std::vector<steady_time>> times_;
    std::set<std::string> held_;
    std::multiset<std::string> waiting_;
    scripted_peer peer_{[this](peer_connection& connection) { serve(connection); }};
};

} // namespace elvantris::operator_control
