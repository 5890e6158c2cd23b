// Which splash a model shows until a server takes its keys over. Pure.
#pragma once

#include "decks/deck_models.hpp"
#include "decks/splash_tiles.hpp"

namespace elvantris::operator_control {

// The tiles in key order, already turned for the model; empty if there is none for it.
splash_set splash_for(const deck_model& model);

} // namespace elvantris::operator_control
