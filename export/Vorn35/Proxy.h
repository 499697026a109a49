/// @file
/// `Proxy`: the client of one service of another process.
#pragma once

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_export.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

class _Proxy;

/// A client of one remote `Stub`. While it is started, it owns the TCP connection to the service. The connection comes
/// up in the background. After a loss the `Proxy` connects again, trying once a second.
///
/// **Members.** `Proxy_call` and its siblings are the members of a `Proxy`, at most one per kind and code. There are
/// two ways to make one:
/// - integrated: an application class derives from member classes, which share one virtual `Proxy`;
/// - attached: a member is constructed with a `const Proxy&`, which must outlive it. Destroying any attached member
///   stops the whole `Proxy`.
///
/// **Threads.** Any thread may call any operation, also from a callback. Callbacks run on the runtime's listener
/// threads with no lock of the runtime held, several at once, and must not throw. The messages of one client run in
/// parallel, so answers, events, values and notices of the connection may overtake each other, and their callbacks may
/// overlap: protect what two callbacks share by a mutex or an atomic.
///
/// Attach members before `start`: a callback of a member that is attached later may run before the constructor of a
/// derived class has finished.
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
    /// A client that is not started. Before its destructor begins, call `stop_and_wait`: see `~Proxy`.
    Proxy();
    /// The copy refers to the same client and does not own it: it must not outlive the original. See `~Proxy`.
    Proxy(const Proxy& _other) = default;
    Proxy& operator=(const Proxy&) = delete;
    /// Stops the client, if it is started, and removes it from the runtime. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    virtual ~Proxy();

protected:
    /// The connection is up. Ask for links here. In an attached member this is never called: override it in the class
    /// of the `Proxy` that the member is attached to.
    ///
    /// May still run when the connection is lost: `on_disconnect`, or `on_connect` of the next connection, may then run
    /// at the same time.
    virtual void on_connect();
    /// The connection is lost. Runs after the `on_unlink` of each link, on the same thread. Not called for a connection
    /// that `stop` closes, and like `on_connect` never called in an attached member.
    virtual void on_disconnect();

public:
    /// Begins to connect. A process can have one started `Proxy` per service address.
    /// @return 0, also when no service listens there yet; "VORN_ERR_NOT_INITIALIZE_"; "VORN_ERR_ALREADY_CREATED_";
    ///         "VORN_ERR_ALREADY_USED_ADDR_" (another `Proxy` of this process has the address); -1 (no network thread
    ///         can serve it); or a positive `errno`.
    Error start(Addr _stub_addr);
    /// Closes the connection after what is queued has been sent, and ends every link without `on_unlink`. Does not wait
    /// for callbacks, and does not end a wait of an `await_` operation.
    ///
    /// After it returns, callbacks that were running may still run. If a notice of a loss was among them, its
    /// `on_disconnect` may follow. Messages that wait for their turn are dropped, unless they wait in an ordering group
    /// together with a key that stays (vorn_serial_parallel.h).
    ///
    /// **From a callback** the stop is incomplete until `stop_and_wait` or the destruction of the object: `is_started`
    /// is false and requests fail, but the connection, the links and the address stay in use, and callbacks keep
    /// coming.
    /// @return 0, or "VORN_ERR_IS_NOT_CREATED_".
    Error stop();
    /// Stops the client on any thread, and returns when no callback of this object and its members runs or will run.
    /// From then on an object of a derived class can be destroyed safely. Also completes a stop that was deferred, and
    /// waits for callbacks that a plain `stop` left running.
    ///
    /// Do not hold a lock that one of the callbacks takes.
    /// @param _limit seconds to wait for callbacks that run; the largest double for no limit.
    /// @return 0; "VORN_ERR_LOCAL_TIMEOUT_" when a callback still runs after `_limit` (the client is stopped, and no
    ///         further callback begins); "VORN_ERR_BUSY_" at once, with nothing changed, inside a callback of this
    ///         object.
    ///
    /// @code
    /// while (my_client.stop_and_wait(1.0) != Vorn35::VORN_ERR_NONE_) log("a callback does not return");
    /// @endcode
    Error stop_and_wait(double _limit);
    /// Whether the connection is up, as far as its notices have told: see docs/lost.md for a notice that is lost.
    bool is_connected();
    /// True from a `start` that succeeds until `stop` or `finalize`.
    bool is_started();
    /// Both ends of the connection.
    /// @param _proxy_addr_ receives 127.0.0.1 with the client's port as the service knows it. Not null.
    /// @param _stub_addr_ receives the address of the service. Not null.
    /// @return 0; or "VORN_ERR_OBJECT_IS_NOT_EXIST_" while there is no connection, with nothing written.
    Error get_address(Addr* _proxy_addr_, Addr* _stub_addr_);

protected:
    /// Makes this object, a member, refer to an existing client. The members of one object are either all attached to
    /// the same client, or all integrated.
    void attach(const Proxy& _proxy);
    /// Undoes `attach`: stops the client and no longer refers to it.
    void detach();

    _Proxy* _pp;  ///< The client that this object refers to.

private:
    friend class _Proxy;
};

}  // namespace Vorn35
