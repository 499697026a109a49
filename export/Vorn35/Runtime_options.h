/// @file
/// How the runtime of this process behaves where messages are many, slow or lost: the standard and the reliable profile.
#pragma once

#include <cstddef>
#include <string>

#include "Vorn35/vorn_export.h"

namespace Vorn35 {

/// Options of one life of the runtime, for `initialize`. Each field is a behaviour of its own. The bytes on the wire do not
/// depend on them, so processes with different options understand each other.
///
/// @code
/// Vorn35::initialize(Vorn35::Runtime_options::reliable());
/// @endcode
struct Runtime_options {
    /// Threads that run callbacks. With 0 no callback runs. At most 1,024.
    std::size_t listeners = 8;

    /// A wait (`await_return`, `await_link_return`, `signal`, `call`) returns an answer that came before the wait began, goes
    /// by the steady clock, and wakes for nothing else. A limit that no clock can represent means no limit.
    bool exact_waits = false;

    /// Received messages of one connection that may wait for their handlers, and their bytes. Beyond either bound the
    /// connection is not read until half of the bounds is free, so TCP holds the sender back; other connections are read on.
    /// While a thread waits for an answer of a service, its connection is read in any case. All datagrams together have the
    /// same bounds; one beyond them is dropped and counted. 0 messages: one bound of 16 messages for the whole process, beyond
    /// which messages are dropped.
    std::size_t receive_messages = 0;
    std::size_t receive_bytes = std::size_t{64} << 20;  ///< See `receive_messages`.

    /// Notices (connected, lost, link ended) are never refused, however many messages wait. `on_connect` and `on_disconnect`
    /// of a `Stub` run one at a time, in the order of the connections' events.
    bool keep_notices = false;

    /// Messages that run one at a time run in the order of their arrival. Otherwise two that arrive together may exchange
    /// their places.
    bool exact_order = false;

    /// A request is a repeat only if its sender's port is the same, too: clients of one host lose no request to each other.
    bool repeat_by_port = false;

    /// A process that runs out of descriptors goes on to accept once a second, and asks once a second for the port of the
    /// directory of names if another program has it.
    bool retry_resources = false;

    /// Seconds after which an opening exchange ends that is not over, on either side. 0 to 86,400; 0: an accepted connection
    /// waits without a limit, and a connect for 8,888 s.
    double opening_limit = 0;

    /// Seconds without a byte after which a peer counts as lost. Heartbeats come each second. 2 to 86,400. "AUTO_DISCONNECT"
    /// in vorn.ini switches it off.
    double silence_limit = 8888;

    /// A client that was silent for `silence_limit` is told to its service as lost.
    bool tell_silent_clients = false;

    /// Bytes that may wait to be sent on one connection. Beyond them a request returns "VORN_ERR_BUSY_LOCALHOST_"; an event or
    /// a value is not queued for that client, and counted; an answer that does not fit ends the connection as lost. A message
    /// that is larger by itself is queued alone. 0: no bound.
    std::size_t send_bytes = 0;

    /// A request whose limit passed while it waited for its handler does not run. It is counted, and answered by
    /// "VORN_ERR_REMOTE_TIMEOUT_".
    bool expire_queued = false;

    /// A `stop` in a callback is complete as soon as that callback has returned: the address is free then. A `Proxy` that is
    /// stopped while its connection is being made closes that connection.
    bool complete_stops = false;

    /// A process tells its directory of names when it starts, when a name begins, and when it hears a process that it had
    /// not heard before, at most ten times a second. So a name is found in milliseconds.
    bool tell_names_at_once = false;

    /// A client whose connection returns asks for the links again that ended with it, after `on_connect`, and `on_link` tells
    /// the result. It asks once over each connection until the link stands or is refused. Not for a link that the
    /// application has ended or asked for itself since.
    bool restore_links = false;

    /// An information sends its current value to a new link at once, over the connection also for a multicast link. A client
    /// keeps up to 16 values that arrive ahead of the answer to the request for their link, and `on_sync` follows the link.
    bool current_values = false;

    /// Other programs of this user and the superuser may read the counters, gauges and connections of this process
    /// (Process_statistics.h): they lie in a file of mode 0600 in the user's runtime directory, or else in "/dev/shm", from
    /// `initialize` to `finalize`. The environment variable "VORN35_COUNTERS" ("1" or "0") decides for any process.
    bool share_counters = false;

    /// What `initialize` without options does, unless the environment or vorn.ini chooses the other profile.
    VORN35_API static Runtime_options standard();
    /// Everything above, with an `opening_limit` and a `silence_limit` of 10 s and 64 MiB of `send_bytes`.
    VORN35_API static Runtime_options reliable();

    /// One sentence that names the first field out of range; empty if there is none.
    VORN35_API std::string problem() const;

    /// Equal in all fields.
    bool operator==(const Runtime_options&) const = default;
};

}  // namespace Vorn35
