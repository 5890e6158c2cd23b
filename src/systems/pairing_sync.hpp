// Writing this workstation's pairing into Main's event, and knowing when nothing needs writing.
//
// The pairing is one object inside the server's event model, a JSON document of which nothing else
// is known here. So the document is read whole, the object is spliced into its text, and the text
// goes back; the rest stays byte for byte. Nothing guards against somebody who edits the event on
// the server between the reading and the writing.
//
// Threads: the pure functions, any. A run blocks for up to four requests; those for one registry
//   take turns (pairing_turns.hpp), and each reads its pairing when its turn has come.
// Units: 5 seconds for each question about the pairing, 30 for the event model and for its update,
//   and the limits for the whole run.
// Failure: false, with a message for the operator. Nothing is thrown.
#pragma once

#include "os/call_limits.hpp"
#include "systems/controller_registry.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// A pass is repeated anyway: it does nothing while another run is under way, and it stops for a
// waiting save unless its update has begun. A save waits for its turn.
enum class sync_caller { save, pass };

// Brings Main to the configured pairing where one is configured and Main is online, and records
// outcome and message in the registry on every way out. A run that doesn't get its turn, or is
// cancelled, records nothing.
bool sync_configured_pairing(controller_registry& registry, std::string& message_out,
                             const call_limits& limits = {},
                             sync_caller caller = sync_caller::save);

// True if Main shows the desired pairing at the end. The message is always set. The update, once
// begun, is cancelled only by `update_limits`.
bool sync_main_pairing(const std::string& host, std::uint16_t web_port,
                       const operator_control_config& desired, std::string& message_out,
                       milliseconds timeout, const call_limits& limits = {},
                       const call_limits& update_limits = {});

// Whether two pairings mean the same: switched on alike, the same shared functions, and the same
// roles. Names, addresses, revisions and the order of the list don't count. Pure.
bool pairing_equivalent(const operator_control_config& a, const operator_control_config& b);

// The object as it is in the event model. Pure.
std::string build_operator_control_json(const operator_control_config& desired,
                                        std::int64_t revision);

// The event model with the object in the place of the old one, or added at its end. Empty when
// there is no place for it, and for a model whose end is missing. Pure.
std::string splice_operator_control(std::string_view event_model_text,
                                    std::string_view object_text);

} // namespace elvantris::operator_control
