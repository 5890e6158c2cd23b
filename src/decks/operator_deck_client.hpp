// The five calls to a server about decks.
//
// Threads: any; nothing is kept between calls. Each call blocks for the length of its exchange.
// Units: `timeout` bounds connecting and each single send and read; the whole exchange ends with
// its
//   limits, and after 10 s at the latest, so that a server which trickles its answer can't keep the
//   keys waiting.
// Failure: false, or `accepted` false, for every cause alike. Nothing is thrown for the network's
//   sake or tried again, and nothing logged but an image that is no Base64.
#pragma once

#include "decks/deck_protocol.hpp"
#include "os/call_limits.hpp"
#include "os/clock.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace elvantris::operator_control {

class operator_deck_client {
public:
    bool post_register(const system_record& server, const std::string& session_id,
                       const std::string& machine_name, const std::vector<deck_info>& decks,
                       milliseconds timeout, const call_limits& limits = {}) const;
    // What has changed since that generation, up to 64 MiB.
    deck_state_reply get_state(const system_record& server, const std::string& session_id,
                               std::int64_t since, milliseconds timeout,
                               const call_limits& limits = {}) const;
    bool post_key_event(const system_record& server, const std::string& session_id,
                        const std::string& serial, std::int32_t key, bool down,
                        milliseconds timeout, const call_limits& limits = {}) const;
    bool post_set_page(const system_record& server, const std::string& session_id,
                       const std::string& serial, std::int32_t page, milliseconds timeout,
                       const call_limits& limits = {}) const;
    bool post_detach(const system_record& server, const std::string& session_id,
                     milliseconds timeout, const call_limits& limits = {}) const;
};

} // namespace elvantris::operator_control
