/// @file
/// The order in which the callbacks of messages run.
///
/// Listener threads run in parallel, so messages may overtake each other. An **ordering key** (`Msg_addr`) names the
/// messages of one member: port, code and kind. The messages of a key that is declared serial, and those of all keys in
/// its group, run one at a time. They run in the order of their arrival, except that two listeners which take messages
/// at almost the same moment may exchange them.
///
/// **Keys of a `Stub`.** `Stub::start` declares each call, signal, event, command and information of the service
/// serial, and so the notices of new connections and those of lost connections, each kind under a key of its own.
/// `Stub::stop` removes these keys. The operations below change them in between.
///
/// **Keys of a `Proxy`.** A `Proxy` declares no keys: its messages run in parallel, unless the application declares a
/// key for them. The port of such a key is the destination port of the message: for TCP messages to a client, the
/// client's own port (`Proxy::get_address`); for datagrams and multicast values, the port of the service. `Proxy::stop`
/// and the destructor of a `Proxy` remove the keys with the port number of their service that are declared for the
/// events, commands, informations and datagrams of the `Proxy` by code, and for notices of connections. If a `Stub` of
/// this process is started at the same port number, they remove the keys of datagrams alone, so that the `Stub` keeps
/// its order.
///
/// Any thread may call these operations, except an `on_signal_sync_t` function. While the runtime is not initialized
/// they do nothing.
#pragma once

#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Removes the key: its messages run in parallel, each on the listener that takes it. This is the default. The messages
/// that wait in the queue of the key are dropped, unless another key of its group is left.
VORN35_API void msg_processing_by_parallel(Msg_addr _a);

/// Gives the key a queue of its own: its messages run one at a time.
VORN35_API void msg_processing_by_serial_alone(Msg_addr _a);

/// Gives both keys one queue: their messages together run one at a time. If both had queues, `_b` moves to the queue of
/// `_a`, and messages that waited under `_b` are dropped unless another key shares that queue. So group the members of
/// a `Stub` directly after each `start`, which gives each member a queue of its own.
///
/// @code
/// // Calls 1 and 2 of the service on port 5000 never run at the same time.
/// Vorn35::msg_processing_by_serial_group({5000, 1, 1}, {5000, 2, 1});
/// @endcode
VORN35_API void msg_processing_by_serial_group(Msg_addr _a, Msg_addr _b);

}  // namespace Vorn35
