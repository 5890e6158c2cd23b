// The page of figures on the loopback interface.
//
// Each request for the figures asks the program once; requests are answered one after the other. A
// client has two seconds to put its question and two to take the answer. One that is silent keeps
// nobody waiting.
// Threads: one of its own, from `start` to `stop`, which belong to one thread.
// Failure: a program that gives no status is a figure. A client that goes away loses its answer.
#pragma once

#include "os/loopback_server.hpp"
#include "tool/program_metrics.hpp"

#include <atomic>
#include <cstdint>
#include <string>

namespace elvantris::operator_control {

class metrics_exporter {
public:
    explicit metrics_exporter(std::string config_path);

    // False if the port on 127.0.0.1 can't be had.
    bool start(std::uint16_t port) { return server_.start(port); }
    // Within a second, whatever clients and program do.
    void stop() { server_.stop(); }

    // The port that is listened on; meaningful while running.
    std::uint16_t port() const { return server_.port(); }
    // How often the figures have been asked for.
    std::uint64_t scrapes() const { return scrapes_; }

private:
    void serve(const socket_handle& client);
    std::string figures();

    std::string config_path_;
    transfer_counter transfers_; // the server's thread's own
    std::atomic<std::uint64_t> scrapes_{0};
    loopback_server server_; // last, so that it stops before what it uses goes
};

} // namespace elvantris::operator_control
