/// @file
/// The implementation behind a `Stub`: its members, its place in the processor, and the central switch.
#pragma once

#include <map>
#include <set>
#include <thread>
#include <vector>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/Vorn_processor/dispatches.h"
#include "Vorn/mutex.h"
#include "Vorn35/Stub.h"

namespace Vorn35 {

class _Stub_call;
class _Stub_signal;
class _Stub_event;
class _Stub_information;
class _Stub_command;
class _Stub_datagram;

using object_calls_t = std::map<Msg_code, _Stub_call*>;
using object_signals_t = std::map<Msg_code, _Stub_signal*>;
using object_events_t = std::map<Msg_code, _Stub_event*>;
using object_informations_t = std::map<Msg_code, _Stub_information*>;
using object_commands_t = std::map<Msg_code, _Stub_command*>;
using object_datagrams_t = std::map<Msg_code, _Stub_datagram*>;

/// Owns nothing of its members but the tables of them.
class _Stub {
public:
    /// The implementation of a public object.
    static _Stub* of(const Stub* _stub) { return _stub->_op; }

    explicit _Stub(Stub* _op_);
    virtual ~_Stub() = default;
    _Stub(const _Stub&) = delete;
    _Stub& operator=(const _Stub&) = delete;

    // `mutex_01` exclusive.

    Error create(const char* _name_, Port* _port_);
    /// On a listener thread only marks the object as stopped; nothing completes this stop before the destructor.
    Error destroy();
    /// Leaves the processor, then drops all links, values and the port.
    void destroy_force();
    /// The end of the object in every table and queue, on any thread; completes a deferred stop. Does nothing to an object
    /// that is not started.
    void withdraw();
    /// The part of it that needs no processor.
    void drop_state();
    /// The object is about to be destroyed: no ordering key of any of its starts stays.
    void forget_order();

    // `mutex_01` shared or exclusive.

    /// Has its port: started, or stopped on a listener thread.
    bool is_tabled() const { return port != 0; }
    bool is_created() const { return destroy_thread_id == std::thread::id(); }
    /// A callback on this thread has called `stop`.
    bool was_stopped_here() const { return destroy_thread_id == std::this_thread::get_id(); }
    Port get_port() const { return port; }
    /// The next number; wraps at 16 bits, 0 included. Any thread.
    Msg_num get_msg_num();
    /// To the packet's destination. On 0 the token is the relay's, otherwise still the caller's.
    Error send(Token _token);
    /// The same for a message that must not be dropped.
    Error send_kept(Token _token);

    // Members; these take `mutex_01` exclusive. Adding a used code does nothing. Deleting goes by code only.

    void add_call(Msg_code _code, _Stub_call* _call);
    void del_call(Msg_code _code);
    void add_signal(Msg_code _code, _Stub_signal* _signal);
    void del_signal(Msg_code _code);
    void add_event(Msg_code _code, _Stub_event* _event);
    void del_event(Msg_code _code);
    void add_information(Msg_code _code, _Stub_information* _information);
    void del_information(Msg_code _code);
    void add_command(Msg_code _code, _Stub_command* _command);
    void del_command(Msg_code _code);
    void add_datagram(Msg_code _code, _Stub_datagram* _datagram);
    void del_datagram(Msg_code _code);

    // Dispatch, on a listener with `mutex_01` shared, which application code does not see. The token is
    // borrowed.

    void adapter_stub(Token _token);
    void adapter_call(Token _token);
    void adapter_call_cancel(Token _token);
    void adapter_signal(Token _token);
    void adapter_signal_cancel(Token _token);
    void adapter_event_connect(Token _token);
    void adapter_event_shutdown(Token _token);
    void adapter_information_connect(Token _token);
    void adapter_information_shutdown(Token _token);
    void adapter_command_connect(Token _token);
    void adapter_command_shutdown(Token _token);
    void adapter_command_sync(Token _token);
    /// Every type without a case in the switch counts as the loss of the sender's connection.
    void adapter_ctrl(Token _token);
    void adapter_tcp_connected_from_client(Token _token);
    void adapter_tcp_disconnected_from_client(Token _token);
    /// The links of the message's sender end.
    void adapter_object_destroyed(Token _token);
    /// Answers with "VORN_ERR_NOT_SUPPORT_CODE_".
    void adapter_err_return(Token _token);

    /// The owner; its `on_connect` and `on_disconnect` are called.
    Stub* const op;
    const dispatches_t dispatches = std::make_shared<Dispatches>();

private:
    /// Guards `seq_num`. A leaf.
    Mutex<lock_order::numbers> seq_num_mutex;
    Msg_num seq_num VORN35_GUARDED_BY(seq_num_mutex) = 0;

    /// Guards the fields below: what the repeat check knows of the message that was dispatched last. A leaf.
    Mutex<lock_order::repeats> last_seq_num_mutex;
    IP last_ip VORN35_GUARDED_BY(last_seq_num_mutex) = 0;
    Port last_port VORN35_GUARDED_BY(last_seq_num_mutex) = 0;
    Msg_num last_seq_num VORN35_GUARDED_BY(last_seq_num_mutex) = 0;
    EMsg last_transaction VORN35_GUARDED_BY(last_seq_num_mutex) = EMsg::null;
    Msg_code last_code VORN35_GUARDED_BY(last_seq_num_mutex) = 0;

    // Guarded by the processor's `mutex_01`.
    object_calls_t calls;
    object_signals_t signals;
    object_events_t events;
    object_informations_t informations;
    object_commands_t commands;
    object_datagrams_t datagrams;
    Port port = 0;
    /// Keys that `regist` declared serial. A member that is destroyed leaves its table, but not this list; neither does a
    /// deferred stop.
    std::set<Msg_addr> declared;
    /// The default id means started; anything else not started.
    std::thread::id destroy_thread_id;

    bool is_repeat(const Packet* _pkt);
    template <class Group, class Alone>
    void walk_ordered(Group _group, Alone _alone) const;
    /// Tells the processor in what order the messages of this port may run.
    void regist();
    /// Removes the keys that `regist` declared for this port.
    void unregist();
    /// Makes the messages of the keys parallel, and forgets them.
    void make_parallel(const std::vector<Msg_addr>& _keys);
    void shutdown_events(Addr _client, Token _token);
    void shutdown_commands(Addr _client, Token _token);
    void shutdown_informations(Addr _client, Token _token);
    void release_events();
    void release_commands();
    void release_informations();
};

}  // namespace Vorn35
