/// @file
/// In what order the handlers of messages run.
///
/// Listener threads run in parallel, so two messages may overtake each other. Messages under a `Msg_addr`
/// that was declared serial, or under any key of the same group, run one at a time, in the order of their
/// arrival as far as two listeners that follow each other closely allow. A `Stub` declares each of its calls,
/// signals, events, commands and informations serial when it starts; what these operations say afterwards
/// holds from then on.
///
/// Any thread; not from a function that runs in front of a signal's answer. Without the runtime: nothing.
#pragma once

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Messages under `_a` run at once on the listener that took them. This is the default. What waits under `_a` is lost
/// when no other key of its group is left.
VORN35_API void msg_processing_by_parallel(Msg_addr _a);

/// Messages under `_a` run one at a time.
VORN35_API void msg_processing_by_serial_alone(Msg_addr _a);

/// Messages under `_a` and `_b` together run one at a time. When both had an order already, what waits under `_b` is
/// lost, so group the members of a `Stub` directly after each `start`, which gives each an order of its own.
///
/// @code
/// // Calls 1 and 2 of the service on port 5000 never run at the same time.
/// Vorn35::msg_processing_by_serial_group({5000, 1, 1}, {5000, 2, 1});
/// @endcode
VORN35_API void msg_processing_by_serial_group(Msg_addr _a, Msg_addr _b);

}  // namespace Vorn35
