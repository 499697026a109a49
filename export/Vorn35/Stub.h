/// @file
/// `Stub`: a service that other processes reach by its address or by its name.
#pragma once

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

class _Stub;

/// A service of this process. Owns one TCP port (and the UDP port of the same number) while it is started,
/// and holds the members that are published there: `Stub_call` and its like, one per kind and code.
///
/// Members come about in two ways. Integrated: an application class derives from the member classes, which
/// all share one virtual `Stub`. Each: a member is built with a `const Stub&` and attached to that `Stub`,
/// which must outlive it; destroying any such member stops the whole `Stub`.
///
/// Threads: any operation may be called from any thread, also from a callback. Callbacks run on the runtime's
/// listener threads with no lock held, and must not throw. They may come until the service is stopped and those that
/// run have returned; `stop` does not wait for them. Stop an object of a derived class, and see its callbacks out,
/// before its destructor begins; or let it outlive `finalize`, after which no callback runs. Attach members before
/// `start`: one that is attached later has no order among its messages, and may be called before the constructor of a
/// derived class has run.
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
    Stub();
    /// The copy refers to the same service and owns nothing of it: it must not outlive the original.
    Stub(const Stub& _other) = default;
    Stub& operator=(const Stub&) = delete;
    /// Stops the service, if it is started, and takes it out of the runtime; its name stays in use.
    virtual ~Stub();

    /// Opens the port and publishes the name.
    /// @param _name_ at most 20 characters; null for a service that is reached by address only.
    /// @param _port_ in: the port wanted, 0 for any. Out: the port opened. Not null.
    /// @return 0; "VORN_ERR_ALREADY_CREATED_", "VORN_ERR_NOT_INITIALIZE_", "VORN_ERR_ALREADY_USED_NAME_" (also for
    ///         a name that a stopped service of this process had), "VORN_ERR_ALREADY_USED_ADDR_"; or a positive
    ///         `errno`, for instance `EADDRINUSE` when another program has the port.
    Error start(const char* _name_, Port* _port_);
    /// The same for callers that hold no pointer to a port; the port opened is not told.
    Error start_for_python(const char* _name_, int _port);
    /// Closes the port. Established connections stay up and learn with their next request that the service is gone;
    /// the name stays in use in this process, and others go on finding it. No `on_unlink` and no `on_disconnect`
    /// follow.
    ///
    /// From a callback the stop is deferred until the object is destroyed: the service counts as stopped and can be
    /// started again, but its old port stays open, and messages go on reaching it.
    /// @return 0, or "VORN_ERR_IS_NOT_CREATED_".
    Error stop();
    /// Stops the service on any thread, and returns when no callback of this object and its members runs or will run. From
    /// then on an object of a derived class can be destroyed safely. Also completes a stop that was deferred, and waits for
    /// callbacks that a plain `stop` left running.
    ///
    /// Do not hold a lock that one of the callbacks takes.
    /// @param _limit seconds to wait for callbacks that run; the largest double for no limit.
    /// @return 0; "VORN_ERR_LOCAL_TIMEOUT_" when a callback still runs after `_limit` (the service is stopped, and no further
    ///         callback begins); "VORN_ERR_BUSY_" at once, with nothing changed, inside a callback of this object.
    ///
    /// @code
    /// while (my_service.stop_and_wait(1.0) != Vorn35::VORN_ERR_NONE_) log("a callback does not return");
    /// @endcode
    Error stop_and_wait(double _limit);
    /// From a `start` that succeeds until `stop` or `finalize`.
    bool is_started();

protected:
    /// A client has connected. Its requests may follow at once.
    virtual void on_connect(Addr _proxy_addr);
    /// A client's connection is gone, after the `on_unlink` of each of its links.
    virtual void on_disconnect(Addr _proxy_addr);

    /// For a member that is attached to an existing service: from here on this object refers to that one. All members
    /// of one object are either attached to the same service or integrated.
    void attach(const Stub& _stub);
    /// The end of such a member: stops the service and lets go of it.
    void detach();

    _Stub* _op;  ///< The service that this object refers to.

private:
    friend class _Stub;
};

}  // namespace Vorn35
