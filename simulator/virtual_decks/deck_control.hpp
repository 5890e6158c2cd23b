// The bus as an operator's hands and eyes meet it: over HTTP on the loopback interface, while the
// program has the library open.
//
// All of it is set by environment variables:
//   ELVANTRIS_VIRTUAL_DECKS          a JSON list of what is plugged in from the start
//   ELVANTRIS_VIRTUAL_DECKS_PORT     where the control listens; none: no control
//   ELVANTRIS_VIRTUAL_DECKS_JOURNAL  a file that hid_exit writes the state and the reports to
//   ELVANTRIS_VIRTUAL_DECKS_INIT     "fail": hid_init fails
#pragma once

#include "control_server.hpp"
#include "deck_bus.hpp"

#include <memory>
#include <mutex>

namespace elvantris::simulator {

class deck_control {
public:
    // Plugs in what the environment names. A list that cannot be read ends the process: nobody is
    // to test with other decks than he thinks.
    deck_control();

    deck_bus& bus() noexcept { return bus_; }

    // hid_init and hid_exit. False: it is to fail, or the port is taken.
    bool begin();
    void end();

private:
    void write_journal() const;

    deck_bus bus_;
    std::mutex mutex_; // guards server_
    std::unique_ptr<control_server> server_;
};

} // namespace elvantris::simulator
