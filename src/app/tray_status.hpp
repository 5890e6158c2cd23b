#pragma once

#include "platform/platform_app.hpp"
#include "systems/controller_registry.hpp"

#include <cstdint>

namespace elvantris::operator_control {

// The tray's lines for the present state of the pair. Reads copies; touches nothing.
tray_status build_tray_status(const controller_registry& registry, std::uint64_t deck_count);

} // namespace elvantris::operator_control
