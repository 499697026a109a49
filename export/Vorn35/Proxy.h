/// @file
/// `Proxy`: the handle on one service of another process.
#pragma once

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

class _Proxy;

/// A client of one remote `Stub`. Owns the TCP connection to it while it is started: the connection comes up
/// in the background, and comes back by itself whenever it was lost, trying once a second.
///
/// Members come about in two ways, as those of a `Stub` do: integrated, by deriving from the member classes,
/// which share one virtual `Proxy`; or each, built with a `const Proxy&`, which must outlive them. Destroying
/// any such attached member stops the whole `Proxy`.
///
/// Threads: any operation may be called from any thread, also from a callback. Callbacks run on the runtime's
/// listener threads with no lock held, several at once, and must not throw. They may come until the client is stopped
/// and those that run have returned; `stop` does not wait for them. Stop an object of a derived class, and see its
/// callbacks out, before its destructor begins; or let it outlive `finalize`, after which no callback runs. A member
/// that is attached after `start` may be called before the constructor of a derived class has run.
///
/// @code
/// struct Client : Vorn35::Proxy_call {
///     Client() : Proxy_call(1) {}
///     void on_connect() override { ... }
/// };
/// Client client;
/// Vorn35::Addr addr;
/// while (Vorn35::get_address("clock", &addr) == 0) ...;
/// client.start(addr);
/// @endcode
class VORN35_API Proxy {
public:
    Proxy();
    /// The copy shares the same client and owns nothing of it: it must not outlive the original.
    Proxy(const Proxy& _other) = default;
    Proxy& operator=(const Proxy&) = delete;
    /// Stops the client, if it is started, and takes every trace of it out of the runtime.
    virtual ~Proxy();

protected:
    /// The connection is up. The place to ask for links.
    virtual void on_connect();
    /// The connection was lost, after the `on_unlink` of each link. Not called by `stop`.
    virtual void on_disconnect();

public:
    /// Begins to connect. One process has at most one started `Proxy` per service address.
    /// @return 0, also when nobody listens there yet; "VORN_ERR_NOT_INITIALIZE_", "VORN_ERR_ALREADY_CREATED_",
    ///         "VORN_ERR_ALREADY_USED_ADDR_", or a positive `errno`.
    Error start(Addr _stub_addr);
    /// Lets what is queued go out and closes the connection. No `on_unlink` and no `on_disconnect` follow.
    ///
    /// From a callback the stop is deferred for good: the client counts as stopped, but its address stays in
    /// use in this process until the object is destroyed.
    /// @return 0, or "VORN_ERR_IS_NOT_CREATED_".
    Error stop();
    /// Stops the client on any thread, and returns when no callback of this object and its members runs or will run. From
    /// then on an object of a derived class can be destroyed safely. Also completes a stop that was deferred, and waits for
    /// callbacks that a plain `stop` left running.
    ///
    /// Do not hold a lock that one of the callbacks takes.
    /// @param _limit seconds to wait for callbacks that run; the largest double for no limit.
    /// @return 0; "VORN_ERR_LOCAL_TIMEOUT_" when a callback still runs after `_limit` (the client is stopped, and no further
    ///         callback begins); "VORN_ERR_BUSY_" at once, with nothing changed, inside a callback of this object.
    ///
    /// @code
    /// while (my_client.stop_and_wait(1.0) != Vorn35::VORN_ERR_NONE_) log("a callback does not return");
    /// @endcode
    Error stop_and_wait(double _limit);
    /// Whether the connection is up.
    bool is_connected();
    /// From a `start` that succeeds until `stop` or `finalize`.
    bool is_started();
    /// Both ends of the connection: 127.0.0.1 with our port as the service knows it, and the service's address.
    /// @return 0, or "VORN_ERR_OBJECT_IS_NOT_EXIST_" with nothing written while there is no connection.
    Error get_address(Addr* _proxy_addr_, Addr* _stub_addr_);

protected:
    /// For a member that is attached to an existing client: from here on this object refers to that one. All members
    /// of one object are either attached to the same client or integrated.
    void attach(const Proxy& _proxy);
    /// The end of such a member: stops the client and lets go of it.
    void detach();

    _Proxy* _pp;  ///< The client that this object refers to.

private:
    friend class _Proxy;
};

}  // namespace Vorn35
