/// @file
/// `Stub`: a service that other processes reach by its address or by its name.
#pragma once

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

class _Stub;

/// A service of this process. While it is started, it owns one TCP port and the UDP port of the same number.
///
/// **Members.** `Stub_call` and its siblings are the members of a `Stub`, one per kind and code. There are two ways to
/// make one:
/// - integrated: an application class derives from member classes, which share one virtual `Stub`;
/// - attached: a member is constructed with a `const Stub&`, which must outlive it. Destroying any attached member
///   stops the whole `Stub`.
///
/// Attach members before `start`. The messages of a member that is attached later have no order, and its callbacks may
/// run before the constructor of a derived class has finished.
///
/// **Threads.** Any thread may call any operation, also from a callback. Callbacks run on the runtime's listener
/// threads with no lock of the runtime held, and must not throw.
///
/// **Order.** `start` gives each call, signal, event, command and information an ordering key: the messages of one
/// member run one at a time, those of different members in parallel. New connections have a key of their own, and lost
/// connections another one. Therefore:
/// - the first requests of a client can run before or during its `on_connect`;
/// - `on_disconnect` of a client can run before or during its `on_connect`, and during its last requests;
/// - `on_unlink` after a loss can run while another callback of the same member runs.
///
/// Protect what such callbacks share by a mutex or an atomic.
///
/// @code
/// struct Clock : Vorn35::Stub_call {
///     Clock() : Stub_call(1, sizeof(double)) {}
///     Vorn35::Error on_call(Vorn35::Addr, const void*, Vorn35::Pksize, void* _out_,
///                           Vorn35::Pksize* _size_, double, double) override;
/// };
/// Clock clock;
/// Vorn35::Port port = 0;
/// clock.start("clock", &port);
/// ...
/// clock.stop();
/// @endcode
class VORN35_API Stub {
public:
    /// A service that is not started. Before its destructor begins, call `stop_and_wait`: see `~Stub`.
    Stub();
    /// The copy refers to the same service and does not own it: it must not outlive the original. See `~Stub`.
    Stub(const Stub& _other) = default;
    Stub& operator=(const Stub&) = delete;
    /// Stops the service, if it is started, and removes it from the runtime; its name stays in use. Destroying an
    /// object of a derived class while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let
    /// it outlive `finalize`.
    virtual ~Stub();

    /// Opens the port and publishes the name.
    /// @param _name_ at most 20 characters. Null publishes no name: clients reach the service by its address.
    /// @param _port_ in: the port wanted, 0 for any. Out: the port opened. Not null.
    /// @return 0; "VORN_ERR_ALREADY_CREATED_"; "VORN_ERR_NOT_INITIALIZE_"; "VORN_ERR_ALREADY_USED_NAME_" (also for the
    ///         name of a stopped service of this process); "VORN_ERR_ALREADY_USED_ADDR_"; -1 (no network thread can
    ///         serve it); or a positive `errno`, for instance `EADDRINUSE` when another program has the port.
    Error start(const char* _name_, Port* _port_);
    /// `start` for callers that have no pointer to a port. It does not report the port that it opens.
    Error start_for_python(const char* _name_, int _port);
    /// Closes the port and ends every link without `on_unlink`. Does not wait for callbacks. Established connections
    /// stay up: a client learns by the answer to its next request that the service is gone. The name stays in use in
    /// this process, and other processes keep finding it.
    ///
    /// Messages that wait for their turn behind a running callback are dropped, and their calls get no answer. After
    /// `stop` returns, these callbacks may still run:
    /// - those that were running, and `on_call_cancel` if the answer of a running `on_call` cannot be sent;
    /// - `on_disconnect` of a client whose `on_unlink` was running;
    /// - messages that wait in an ordering group together with a key of another service (vorn_serial_parallel.h).
    ///
    /// A later `start` makes new queues: a callback that still runs and a new one of the same code may run at the same
    /// time. While connections to the old port exist, a `start` on that port fails with `EADDRINUSE`.
    ///
    /// **From a callback** the stop is incomplete until `stop_and_wait` or the destruction of the object: `is_started`
    /// is false and the service can be started again, but the old port stays open, and messages still reach the service
    /// there.
    /// @return 0, or "VORN_ERR_IS_NOT_CREATED_".
    Error stop();
    /// Stops the service on any thread, and returns when no callback of this object and its members runs or will run.
    /// From then on an object of a derived class can be destroyed safely. Also completes a stop that was deferred, and
    /// waits for callbacks that a plain `stop` left running.
    ///
    /// Do not hold a lock that one of the callbacks takes.
    /// @param _limit seconds to wait for callbacks that run; the largest double for no limit.
    /// @return 0; "VORN_ERR_LOCAL_TIMEOUT_" when a callback still runs after `_limit` (the service is stopped, and no
    ///         further callback begins); "VORN_ERR_BUSY_" at once, with nothing changed, inside a callback of this
    ///         object.
    ///
    /// @code
    /// while (my_service.stop_and_wait(1.0) != Vorn35::VORN_ERR_NONE_) log("a callback does not return");
    /// @endcode
    Error stop_and_wait(double _limit);
    /// True from a `start` that succeeds until `stop` or `finalize`.
    bool is_started();

protected:
    /// A client has connected. See "Order" above: its requests and its `on_disconnect` can come earlier. In an attached
    /// member this is never called: override it in the class of the `Stub` that the member is attached to.
    virtual void on_connect(Addr _proxy_addr);
    /// A client's connection is lost. Runs after the `on_unlink` of each of its links, on the same thread. Never called
    /// in an attached member.
    virtual void on_disconnect(Addr _proxy_addr);

    /// Makes this object, a member, refer to an existing service. The members of one object are either all attached to
    /// the same service, or all integrated.
    void attach(const Stub& _stub);
    /// Undoes `attach`: stops the service and no longer refers to it.
    void detach();

    _Stub* _op;  ///< The service that this object refers to.

private:
    friend class _Stub;
};

}  // namespace Vorn35
