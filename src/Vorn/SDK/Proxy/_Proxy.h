/// @file
/// The implementation behind a `Proxy`: its members, its connection's state, and the routing of messages.
#pragma once

#include <atomic>
#include <map>
#include <thread>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/Vorn_processor/dispatches.h"
#include "Vorn/atomic_addr.h"
#include "Vorn/mutex.h"
#include "Vorn35/Proxy.h"

namespace Vorn35 {

class _Proxy_call;
class _Proxy_signal;
class _Proxy_event;
class _Proxy_information;
class _Proxy_command;
class _Proxy_datagram;

using proxy_calls_t = std::map<Msg_code, _Proxy_call*>;
using proxy_signals_t = std::map<Msg_code, _Proxy_signal*>;
using proxy_events_t = std::map<Msg_code, _Proxy_event*>;
using proxy_informations_t = std::map<Msg_code, _Proxy_information*>;
using proxy_commands_t = std::map<Msg_code, _Proxy_command*>;
using proxy_datagrams_t = std::map<Msg_code, _Proxy_datagram*>;

/// Owns nothing of its members but the tables of them.
class _Proxy {
public:
    /// The implementation of a public object.
    static _Proxy* of(const Proxy* _proxy) { return _proxy->_pp; }

    explicit _Proxy(Proxy* _pp_);
    _Proxy(const _Proxy&) = delete;
    _Proxy& operator=(const _Proxy&) = delete;

    // `mutex_01` exclusive.

    Error create(Addr _stub_addr);
    /// On a listener thread only marks the object as stopped; nothing completes this stop before the destructor.
    Error destroy();
    /// Leaves the processor, then drops all links and values.
    void destroy_force();
    /// The end of the object in every table and queue, on any thread; completes a deferred stop. Does nothing to an object
    /// that is not started.
    void withdraw();
    /// The part of it that needs no processor.
    void drop_state();

    // `mutex_01` shared or exclusive.

    /// Has an address: started, or stopped on a listener thread.
    bool is_tabled() const { return get_stub_addr().port != 0; }
    bool is_created() const { return destroy_thread_id == std::thread::id(); }
    /// A callback on this thread has called `stop`.
    bool was_stopped_here() const { return destroy_thread_id == std::this_thread::get_id(); }
    /// The next number: 1 is the first, and 0 comes after 65535. Any thread.
    Msg_num get_msg_num();
    /// To the service. On 0 the token is the relay's, otherwise still the caller's.
    Error send(Token _token);

    // Any thread.

    bool is_live() const { return live_state; }
    Addr get_stub_addr() const { return stub_addr; }
    Addr get_proxy_addr() const { return proxy_addr; }
    /// When the connection that stands came up, which identifies it; or when this object was started.
    ks_clock_t connected_at();

    // Members; these take `mutex_01` exclusive. Adding a used code does nothing. Deleting goes by code only.

    void add_call(Msg_code _code, _Proxy_call* _call);
    void del_call(Msg_code _code);
    void add_signal(Msg_code _code, _Proxy_signal* _signal);
    void del_signal(Msg_code _code);
    void add_event(Msg_code _code, _Proxy_event* _event);
    void del_event(Msg_code _code);
    void add_information(Msg_code _code, _Proxy_information* _information);
    void del_information(Msg_code _code);
    void add_command(Msg_code _code, _Proxy_command* _command);
    void del_command(Msg_code _code);
    void add_datagram(Msg_code _code, _Proxy_datagram* _datagram);
    void del_datagram(Msg_code _code);

    // Dispatch, on a listener with `mutex_01` shared, which application code does not see. The token is
    // borrowed. Every adapter changes the state first, and calls the application then.

    void adapter_proxy(Token _token);
    void adapter_datagram(Token _token);
    void adapter_delegate_signal_return(Token _token);
    void adapter_delegate_call_return(Token _token);
    void adapter_event_disconnect(Token _token);
    void adapter_event(Token _token);
    void adapter_event_on_link(Token _token);
    void adapter_command_disconnect(Token _token);
    void adapter_command_on_link(Token _token);
    void adapter_information_disconnect(Token _token);
    void adapter_information(Token _token);
    void adapter_information_on_link(Token _token);
    /// Every type without a case in the switch counts as the loss of the connection.
    void adapter_ctrl(Token _token);
    void adapter_object_create(Token _token);
    void adapter_object_destroy(Token _token);

    /// The owner; its `on_connect` and `on_disconnect` are called.
    Proxy* const pp;
    const dispatches_t dispatches = std::make_shared<Dispatches>();

private:
    /// Guards `seq_num`. A leaf.
    Mutex<lock_order::numbers> seq_num_mutex;
    Msg_num seq_num VORN35_GUARDED_BY(seq_num_mutex) = 0;

    /// The connection is established, by the notices of the relay so far.
    std::atomic<bool> live_state{false};
    Atomic_addr proxy_addr;  ///< Our end of the connection.
    Atomic_addr stub_addr;   ///< Written under `mutex_01` exclusive.

    // Guarded by the processor's `mutex_01`.
    proxy_calls_t calls;
    proxy_signals_t signals;
    proxy_events_t events;
    proxy_informations_t informations;
    proxy_commands_t commands;
    proxy_datagrams_t datagrams;
    /// The default id means started; anything else not started.
    std::thread::id destroy_thread_id;

    /// An established connection, from a notice of the relay.
    struct Connection {
        ks_clock_t clk{};  ///< When.
        Addr local;        ///< Our end.
    };

    /// Guards the clocks below and the changes of `live_state` that belong to them. Listeners may deliver notices out of
    /// order; the notices take effect in the order of their times. A leaf.
    Mutex<lock_order::connection> connection_mutex;
    /// When the connection that stands came up; or when this object was started.
    ks_clock_t connected_clk VORN35_GUARDED_BY(connection_mutex){};
    /// The latest loss reported. When a connection comes up at an earlier time than this, the notice of its loss has overtaken
    /// its own.
    ks_clock_t lost_clk VORN35_GUARDED_BY(connection_mutex){};
    /// The latest connection whose notice arrived while `live_state` was still true. It takes effect after the pending loss.
    Connection next_connection VORN35_GUARDED_BY(connection_mutex);

    void came_up(Connection _connection);
    template <class Group, class Alone>
    void walk_ordered(Group _group, Alone _alone) const;
    /// Would declare the messages of this client serial. Nothing calls it: a client's messages run in
    /// parallel.
    void regist();
    void unregist();
    void disconnect_events(Token _token);
    void disconnect_informations(Token _token);
    void disconnect_commands(Token _token);
    void restore_links();
    void release_events();
    void release_commands();
    void release_informations();
};

}  // namespace Vorn35
