/// @file
/// The options of the runtime that is up, and where they come from.
#pragma once

#include "Vorn35/Runtime_options.h"

namespace Vorn35 {

/// Written by `initialize` under `mutex_01` exclusive, before any thread of the runtime starts. The runtime's own threads read
/// it freely, other threads under `mutex_01`.
extern Runtime_options g_options;

/// The profile that the environment chooses ("VORN35_PROFILE"), or else vorn.ini ("PROFILE"), or else the standard one.
/// @throws std::invalid_argument for a profile that does not exist.
Runtime_options configured_options();

/// What the environment decides over all profiles ("VORN35_COUNTERS").
/// @throws std::invalid_argument for a word that does not exist.
void apply_environment(Runtime_options* _options_);

}  // namespace Vorn35
