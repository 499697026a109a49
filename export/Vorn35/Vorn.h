/// @file
/// The C interface of Vorn35: plain functions over the classes of the other headers, for programs that cannot
/// use those. Valid C11 and C++.
///
/// **Objects.** Every object is a `Vorn_inst*`. A service is a *Stub* with *methods* (calls, signals, events,
/// informations, commands, datagrams), each under a code of its own. A client is a *Proxy* with methods of the same
/// kinds and codes. Each `_alloc` has its `_free`. Pass a handle only to the functions of its own family
/// (`vorn_stub_call_...` for one of `vorn_stub_call_alloc`): nothing checks it.
///
/// **Life.**
/// 1. `vorn_initialize_default`.
/// 2. `vorn_stub_alloc` or `vorn_proxy_alloc`, then the methods. The methods of a Stub must exist before
///    `vorn_stub_start`: messages of a method that is added later have no order.
/// 3. `vorn_stub_start` or `vorn_proxy_start`.
/// 4. The `_free` functions: first the methods, then the Stub or Proxy. Freeing *any* method stops the whole Stub or
///    Proxy that it belongs to; the other methods stay allocated and receive nothing more.
/// 5. `vorn_finalize`.
///
/// **Callbacks** run on the runtime's listener threads, several at once, and may call every function but
/// `vorn_finalize`. The first argument is the object that the callback was given to. There is no user pointer: a
/// program that needs one keeps a table. Every callback must be a real function, none may be null. Data that a callback
/// receives by pointer is valid until the callback returns. In C++, a callback must not throw.
///
/// **Freeing.** A `_free` does not wait for a running callback, and freeing an object while one of its callbacks runs
/// is undefined behaviour. First call `vorn_stub_stop_and_wait` or `vorn_proxy_stop_and_wait`, or free after
/// `vorn_finalize`.
///
/// **Order of callbacks.** At a Stub, the callbacks of one method run one at a time, those of different methods in
/// parallel. Notices of new connections and of lost connections have an order of their own: the disconnect callback of
/// a client can run before or during its connect callback, the first requests of a client before or during its connect
/// callback, and an unlink callback after a loss while another callback of the same method runs. At a Proxy, all
/// callbacks can overlap and overtake each other. Protect what callbacks share by a mutex or an atomic.
///
/// **After a stop.** `vorn_stub_stop` and `vorn_proxy_stop` do not wait for callbacks: those that run go on, and the
/// disconnect callback of a loss whose unlink callback was running may follow. Requests that wait behind a running
/// callback are dropped without an answer. After a new start, a callback that still runs and a new one of the same code
/// may run at the same time.
///
/// **Threads.** Any thread may call any function, unless its description says otherwise.
///
/// **Results.** 0 is success, and every failure of the runtime is negative: see `vorn_err_none` and the following, and
/// `vorn_get_err_str` for the name. A positive result of a start is an `errno`; -1 means that no network thread can
/// serve the sockets. A program may return numbers of its own; they travel like any other. Functions do not throw their
/// failures. Exceptions are a system that has no memory, threads or locks left, and the configuration file
/// (`vorn_initialize_default`).
///
/// **Times** are in seconds. Each exchange has a limit that counts down from hop to hop; a message that is late is
/// dropped.
///
/// **Requests.** A `delegate_` function returns at once, and the answer comes to a callback, with the number of the
/// request. An `async_` function returns a `Vorn_promise*`, which the matching `await_` function waits for and frees.
/// This is one timed wait, which can miss its answer: an answer that arrives before the wait has begun does not end it.
/// The wait then lasts until its limit and returns `vorn_err_local_timeout`, although the service answered. So choose
/// short limits and repeat requests that may run twice, or use the `delegate_` function.
///
/// **Pace.** A process keeps 16 received messages waiting and drops the rest without an error. A loop of `delegate_`
/// calls or of events without a pause loses most of them. Keep at most about 10 messages to one process outstanding,
/// and repeat what stays without an answer; see docs/lost.md.
///
/// @code
/// static Vorn_error on_add(Vorn_inst *call, Vorn_addr client, const void *in, Vorn_pksize in_size,
///                          void *out, Vorn_pksize *out_size, double elapsed, double limit);
///
/// vorn_initialize_default();
/// Vorn_inst *stub = vorn_stub_alloc(on_connect, on_disconnect);
/// Vorn_inst *call = vorn_stub_call_alloc(1, sizeof(double), stub, on_add, on_cancel);
/// Vorn_port port = 0;
/// vorn_stub_start(stub, "adder", &port);
/// ...
/// vorn_stub_call_free(call);
/// vorn_stub_free(stub);
/// vorn_finalize();
/// @endcode
#ifndef VORN35_VORN_H
#define VORN35_VORN_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "Vorn35/version.h"

/// Exports a function or constant from the shared library.
#if defined(__GNUC__)
#define VORN_API __attribute__((visibility("default")))
#else
#define VORN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// @name Types
/// @{

/// IPv4 address in network byte order: 127.0.0.1 is 0x0100007F.
typedef uint32_t Vorn_ip;
/// Port number in host byte order.
typedef uint16_t Vorn_port;
/// Address of a Stub, or of one end of a connection.
typedef struct Vorn_addr {
    Vorn_ip ip;      ///< The host.
    Vorn_port port;  ///< The port on it.
} Vorn_addr;
/// Selects one method inside a Stub. A code may be used once in each kind.
typedef uint16_t Vorn_code;
/// Number of a request in 32 bits: 0 to 65535.
typedef uint32_t Vorn_seq;
/// Number of a request as it is sent. It wraps at 16 bits; 0 is a valid number.
typedef uint16_t Vorn_msg_num;
/// Payload size in bytes.
typedef uint32_t Vorn_pksize;
/// Result: 0 is success.
typedef int32_t Vorn_error;
/// When a value is sent: `vorn_on_post` or `vorn_on_timer`.
typedef uint8_t Vorn_sync_model;
/// Ordering key of messages: see `vorn_msg_processing_by_serial_alone`.
typedef struct Vorn_msg_addr {
    Vorn_port port;       ///< Port of the Stub.
    Vorn_code code;       ///< The method.
    uint8_t transaction;  ///< Its kind: 1 call, 2 signal, 3 event, 4 command, 5 information, 6 datagram.
} Vorn_msg_addr;

/// An object of the runtime.
typedef struct Vorn_inst Vorn_inst;
/// An outstanding request. Await each exactly once, on one thread. One that is never awaited is a memory leak.
typedef struct Vorn_promise Vorn_promise;
/// A snapshot of a history. This interface has no function that reads or frees one.
typedef struct Vorn_letter_case Vorn_letter_case;

/// The value is sent at each `post`: 0.
extern VORN_API const Vorn_sync_model vorn_on_post;
/// The value is sent at a fixed rate: 1.
extern VORN_API const Vorn_sync_model vorn_on_timer;

/// @}
/// @name Results
/// @{

/// The results of the runtime. `vorn_get_err_str` returns the name in capitals with an underscore at the end:
/// "VORN_ERR_BUSY_" for `vorn_err_busy`.
enum {
    vorn_err_none = 0,  ///< Success.

    // The receiving process reports these.
    vorn_err_already_used_name = -0x7FFFFFFF,    ///< 0x80000001: the name is in use in this process.
    vorn_err_object_is_not_exist = -0x7FFFFFFE,  ///< 0x80000002: no such service there, or not connected here.
    vorn_err_not_support_code = -0x7FFFFFFD,     ///< 0x80000003: the Stub has no method of this code.
    vorn_err_not_implement = -0x7FFFFFFC,        ///< 0x80000004: reserved.
    vorn_err_remote_timeout = -0x7FFFFFFB,       ///< 0x80000005: an answer arrived after its limit.
    vorn_err_busy = -0x7FFFFFFA,                 ///< 0x80000006: `stop_and_wait` inside a callback of its object.
    vorn_err_shutdown = -0x7FFFFFF9,             ///< 0x80000007: the process is shutting down.

    // The calling side reports these.
    vorn_err_local_timeout = -0x40000000,       ///< 0xC0000000: an `await_` function reached its limit.
    vorn_err_not_connected_tcp = -0x3FFFFFFF,   ///< 0xC0000001: the connection of a queued message is lost.
    vorn_err_boundout_buffer = -0x3FFFFFFE,     ///< 0xC0000002: the buffer is too small for the answer.
    vorn_err_busy_localhost = -0x3FFFFFFD,      ///< 0xC0000003: the send was refused on the local side.
    vorn_err_too_big_size = -0x3FFFFFFC,        ///< 0xC0000004: more bytes than the buffer or a datagram holds.
    vorn_err_is_not_created = -0x3FFFFFFB,      ///< 0xC0000005: the Stub or Proxy is not started.
    vorn_err_null_return_object = -0x3FFFFFFA,  ///< 0xC0000006: the promise is null.
    vorn_err_already_connected = -0x3FFFFFF9,   ///< 0xC0000007: the link stands already.
    vorn_err_already_created = -0x3FFFFFF8,     ///< 0xC0000008: started already.
    vorn_err_disconnected_tcp = -0x3FFFFFF7,    ///< 0xC0000009: the connection is lost.
    vorn_err_durty_memory = -0x3FFFFFF6,        ///< 0xC000000A: reserved; blocks are not checked.
    vorn_err_overlaped_packet = -0x3FFFFFF5,    ///< 0xC000000B: reserved.

    // State and memory.
    vorn_err_dont_get = -0x30000000,              ///< 0xD0000000: no block of `get`, or a stop took it away.
    vorn_err_empty_vorn_memory = -0x2FFFFFFF,     ///< 0xD0000001: a block was not available.
    vorn_err_empty_process_memory = -0x2FFFFFFE,  ///< 0xD0000002: reserved.
    vorn_err_not_exist_sync_data = -0x2FFFFFFD,   ///< 0xD0000003: no value to send, or nobody to send it to.
    vorn_err_empty_history = -0x2FFFFFFC,         ///< 0xD0000004: the history is empty.
    vorn_err_already_used_addr = -0x2FFFFFFB,     ///< 0xD0000005: the address is in use in this process.
    vorn_err_not_initialize = -0x2FFFFFFA         ///< 0xD0000006: the runtime is not initialized.
};

/// @}
/// @name Callbacks of a service
/// @{

/// A client has connected. Its requests and its disconnect callback can run earlier, or at the same time.
typedef void on_vorn_stub_connect_ft(Vorn_inst* _object_, Vorn_addr _proxy_addr);
/// A client's connection is lost. Runs after the unlink callback of each of its links.
typedef void on_vorn_stub_disconnect_ft(Vorn_inst* _object_, Vorn_addr _proxy_addr);

/// Handles a call. Calls of one code run one at a time. Requests that wait behind a slow callback are not bounded in
/// number; neither their limit nor `_elapsed_time` counts that wait.
/// @param _call_ the method.
/// @param _proxy_addr the client.
/// @param _in_buf_ the payload of the request; null when there is none.
/// @param _in_buf_size its bytes.
/// @param _out_buf_ receives the answer; null when the method has a capacity of 0.
/// @param _out_buf_size_ in: the capacity. Out: size of the answer, at most the capacity. Set it: left alone, it sends
///        the whole capacity.
/// @param _elapsed_time age of the request in seconds.
/// @param _limit_time seconds that the client still waits. Nothing stops a callback that takes longer.
/// @return 0, or an error that the client receives instead of an answer.
typedef Vorn_error on_vorn_stub_call_ft(Vorn_inst* _call_, Vorn_addr _proxy_addr, const void* _in_buf_,
                                        Vorn_pksize _in_buf_size, void* _out_buf_, Vorn_pksize* _out_buf_size_,
                                        double _elapsed_time, double _limit_time);
/// A client called `vorn_proxy_call_cancel`, or an answer could not be delivered. The message does not say which call
/// it means, and does not interrupt a running call of this code: it waits until that has returned.
typedef void on_vorn_stub_call_cancel_ft(Vorn_inst* _call_, Vorn_addr _proxy_addr, Vorn_error _error);

/// Handles a signal whose acknowledgement was sent. Signals of one code run one at a time, and each is acknowledged
/// only when its turn comes.
/// @param _signal_ the method.
/// @param _proxy_addr the client.
/// @param _buf_ the payload; null when there is none.
/// @param _buf_size its bytes.
/// @param _elapsed_time age of the signal in seconds.
typedef void on_vorn_stub_signal_ft(Vorn_inst* _signal_, Vorn_addr _proxy_addr, const void* _buf_,
                                    Vorn_pksize _buf_size, double _elapsed_time);
/// A client called `vorn_proxy_signal_cancel`, or an acknowledgement could not be delivered. The message does not say
/// which signal it means.
typedef void on_vorn_stub_signal_cancel_ft(Vorn_inst* _signal_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A client asks for a link to an event. Also called for a client that has one already.
/// @param _event_ the method.
/// @param _proxy_addr the client.
/// @param _elapsed_time age of the request in seconds.
/// @param _limit_time seconds that the client still waits.
/// @return 0 accepts the link. Any other error refuses it; the client receives the error. A link whose confirmation
///         cannot be sent is not entered.
typedef Vorn_error on_vorn_stub_event_link_ft(Vorn_inst* _event_, Vorn_addr _proxy_addr, double _elapsed_time,
                                              double _limit_time);
/// A client of an event unlinked (the error is the client's, 0), or the connection of a linked client is lost
/// (`vorn_err_disconnected_tcp`). Not called for a link that the service ends. Also called for a client that unlinks
/// without a link.
typedef void on_vorn_stub_event_unlink_ft(Vorn_inst* _event_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A client asks for a link to an information. Also called for a client that has one already.
/// @param _information_ the method.
/// @param _proxy_addr the client.
/// @param _reliability true: by TCP. False: by multicast.
/// @param _elapsed_time age of the request in seconds.
/// @param _limit_time seconds that the client still waits.
/// @return 0 accepts the link. Any other error refuses it; the client receives the error. A link whose confirmation
///         cannot be sent is not entered.
typedef Vorn_error on_vorn_stub_information_link_ft(Vorn_inst* _information_, Vorn_addr _proxy_addr, bool _reliability,
                                                    double _elapsed_time, double _limit_time);
/// A client of an information unlinked or is lost: as `on_vorn_stub_event_unlink_ft`.
typedef void on_vorn_stub_information_unlink_ft(Vorn_inst* _information_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A value of a linked client has arrived and is already in that client's history. The calls of one method run one at a
/// time, in the order in which their values entered the histories.
/// @param _command_ the method.
/// @param _proxy_addr the client.
/// @param _sync_model how the client sends: `vorn_on_post` or `vorn_on_timer`.
/// @param _elapsed_time age of the value in seconds.
/// @param _limit seconds that the value is valid, as the client set them; very large for `vorn_on_post`.
/// @param _buffer_ the value; null when it is empty.
/// @param _size its bytes.
typedef void on_vorn_stub_command_sync_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, Vorn_sync_model _sync_model,
                                          double _elapsed_time, double _limit, const void* _buffer_, Vorn_pksize _size);
/// A client asks for a link to a command: as `on_vorn_stub_event_link_ft`. A client that has a link already keeps its
/// history.
typedef Vorn_error on_vorn_stub_command_link_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, double _elapsed_time,
                                                double _limit_time);
/// A client of a command unlinked or is lost: as `on_vorn_stub_event_unlink_ft`. Waits for a running sync callback of
/// that client; none follows. The history is no longer there.
typedef void on_vorn_stub_command_unlink_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, Vorn_error _error);

/// @}
/// @name Callbacks of a client
/// @{

/// The connection is up. Ask for links here. May still run when the connection is lost again.
typedef void on_vorn_proxy_connect_ft(Vorn_inst* _object_);
/// The connection is lost. Runs after the unlink callback of each link. Not called for a connection that
/// `vorn_proxy_stop` closes.
typedef void on_vorn_proxy_disconnect_ft(Vorn_inst* _object_);

/// The answer to a `vorn_proxy_call_delegate_call`. It can run before that function returns.
/// @param _call_ the method.
/// @param _seq the number of the request.
/// @param _err 0; the error that the service returned; or an error of its process, for instance
///        `vorn_err_not_support_code`.
/// @param _ret_data_ the answer; null when it has no payload.
/// @param _ret_size its bytes.
/// @param _elapsed_time age of the exchange in seconds, as both ends have counted it.
typedef void on_vorn_proxy_call_return_ft(Vorn_inst* _call_, Vorn_seq _seq, Vorn_error _err, const void* _ret_data_,
                                          Vorn_pksize _ret_size, double _elapsed_time);
/// The acknowledgement of a `vorn_proxy_signal_delegate_signal`: the number of the signal, the result, and the age of
/// the exchange in seconds.
typedef void on_vorn_proxy_signal_return_ft(Vorn_inst* _signal_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);

/// The answer to a `vorn_proxy_event_delegate_link`: the number of the request, the result (0: the service accepted),
/// and the age of the exchange in seconds.
typedef void on_vorn_proxy_event_link_ft(Vorn_inst* _event_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);
/// The answer to a `vorn_proxy_information_delegate_link`, as for an event.
typedef void on_vorn_proxy_information_link_ft(Vorn_inst* _information_, Vorn_seq _seq, Vorn_error _err,
                                               double _elapsed_time);
/// The answer to a `vorn_proxy_command_delegate_link`, as for an event.
typedef void on_vorn_proxy_command_link_ft(Vorn_inst* _command_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);

/// The link has ended: the service ended it (0), or the connection is lost (`vorn_err_disconnected_tcp`; the disconnect
/// callback follows). Not called for an end that this side asked for.
typedef void on_vorn_proxy_event_unlink_ft(Vorn_inst* _event_, Vorn_error _err);
/// The link has ended: as `on_vorn_proxy_event_unlink_ft`. The history is empty.
typedef void on_vorn_proxy_information_unlink_ft(Vorn_inst* _information_, Vorn_error _err);
/// The link has ended: as `on_vorn_proxy_event_unlink_ft`. Value and history stay.
typedef void on_vorn_proxy_command_unlink_ft(Vorn_inst* _command_, Vorn_error _err);

/// An event of the service: its payload (null when there is none), its size, and its age in seconds. Events may
/// overtake each other, and the first can overtake the link callback.
typedef void on_vorn_proxy_event_ft(Vorn_inst* _event_, const void* _event_data_, Vorn_pksize _event_size,
                                    double _elapsed_time);
/// A new value, which is already in the history. Values may overtake each other, also in the history.
/// @param _information_ the method.
/// @param _sync_model how the service publishes: `vorn_on_post` or `vorn_on_timer`.
/// @param _elapsed_time age of the value in seconds.
/// @param _limit seconds that the value is valid; very large for `vorn_on_post`.
/// @param _buffer_ the value; null when it is empty.
/// @param _size its bytes.
typedef void on_vorn_proxy_information_sync_ft(Vorn_inst* _information_, Vorn_sync_model _sync_model,
                                               double _elapsed_time, double _limit, const void* _buffer_,
                                               Vorn_pksize _size);
/// A datagram of the service: the service's address, the payload (null when there is none), its size, and its age in
/// seconds.
typedef void on_vorn_proxy_datagram_cast_ft(Vorn_inst* _datagram_, Vorn_addr _stub_addr, const void* _buf_,
                                            Vorn_pksize _size, double _elapsed_time);

/// @}
/// @name Stub
/// A service of this process. While it is started, it owns one TCP port and the UDP port of the same number.
/// @{

/// A new service, not started.
/// @return never null. Free it with `vorn_stub_free`.
VORN_API Vorn_inst* vorn_stub_alloc(on_vorn_stub_connect_ft* _on_connect_, on_vorn_stub_disconnect_ft* _on_disconnect_);
/// Stops the service, if it is started, and frees it. Free its methods first. Null is ignored.
VORN_API void vorn_stub_free(Vorn_inst* _object_);
/// Opens the port and publishes the name.
/// @param _object_ the service.
/// @param _name_ at most 20 characters. Null publishes no name: clients reach the service by its address.
/// @param _port_ in: the port wanted, 0 for any. Out: the port opened. Not null.
/// @return 0; `vorn_err_already_created`; `vorn_err_not_initialize`; `vorn_err_already_used_name` (also for the name of
///         a stopped service of this process); `vorn_err_already_used_addr`; -1 (no network thread can serve it); or a
///         positive `errno`, for instance EADDRINUSE when another program has the port.
VORN_API Vorn_error vorn_stub_start(Vorn_inst* _object_, const char* _name_, Vorn_port* _port_);
/// Closes the port and ends every link without a callback. Does not wait for callbacks: see "After a stop" above.
/// Connections stay up; a client learns by the answer to its next request that the service is gone. The name stays in
/// use in this process.
///
/// From a callback the stop is incomplete until `vorn_stub_stop_and_wait` or `vorn_stub_free`: the service counts as
/// stopped and can be started again, but its old port stays open, and messages still reach it there.
/// @return 0, or `vorn_err_is_not_created`.
VORN_API Vorn_error vorn_stub_stop(Vorn_inst* _object_);
/// Stops the service on any thread, and returns when no callback of it and its members runs or will run: it can be
/// freed then. Completes a deferred stop, too.
/// @param _limit seconds to wait for callbacks that run; DBL_MAX for no limit.
/// @return 0; `vorn_err_local_timeout` when a callback still runs after `_limit`; `vorn_err_busy` at once, with nothing
///         changed, inside a callback of the service or of its members.
VORN_API Vorn_error vorn_stub_stop_and_wait(Vorn_inst* _object_, double _limit);
/// Whether the service is started.
VORN_API bool vorn_stub_is_started(Vorn_inst* _object_);

/// @}
/// @name Call service A request with a payload, and exactly one answer with a payload. There is no back-pressure: see
/// `on_vorn_stub_call_ft`.
/// @{

/// A new call of a service.
/// @param _code its code.
/// @param _max_return_size capacity of an answer in bytes. With 0, answers have no payload.
/// @param _object_ the Stub.
/// @param _on_call_ handles a call.
/// @param _on_call_cancel_ handles a cancellation.
/// @return never null. Free it with `vorn_stub_call_free`.
VORN_API Vorn_inst* vorn_stub_call_alloc(Vorn_code _code, Vorn_pksize _max_return_size, Vorn_inst* _object_,
                                         on_vorn_stub_call_ft* _on_call_,
                                         on_vorn_stub_call_cancel_ft* _on_call_cancel_);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_call_free(Vorn_inst* _call_);

/// @}
/// @name Signal service
/// A message whose arrival is acknowledged. A service in C accepts every signal.
/// @{

/// A new signal of the Stub `_object`, under `_code`.
/// @return never null. Free it with `vorn_stub_signal_free`.
VORN_API Vorn_inst* vorn_stub_signal_alloc(Vorn_code _code, Vorn_inst* _object, on_vorn_stub_signal_ft* _on_signal_,
                                           on_vorn_stub_signal_cancel_ft* _on_signal_cancel_);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_signal_free(Vorn_inst* _signal_);

/// @}
/// @name Event publisher
/// A message to every linked client; not acknowledged, not kept.
/// @{

/// A new event of the Stub `_object`, under `_code`.
/// @return never null. Free it with `vorn_stub_event_free`.
VORN_API Vorn_inst* vorn_stub_event_alloc(Vorn_code _code, Vorn_inst* _object,
                                          on_vorn_stub_event_link_ft* _on_event_link_,
                                          on_vorn_stub_event_unlink_ft* _on_event_unlink_);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_event_free(Vorn_inst* _event_);
/// Ends the link of one client and notifies the client. Without a link, nothing happens.
VORN_API void vorn_stub_event_unlink(Vorn_inst* _event_, Vorn_addr _proxy_addr);
/// Ends the links of all clients and notifies them.
VORN_API void vorn_stub_event_unlink_all_proxy(Vorn_inst* _event_);
/// Sends an event to every linked client. A send that fails for one client is not reported. Pace the events: see "Pace"
/// above.
/// @param _event_ the method.
/// @param _buffer_ the payload, copied before the return. Not read when the size is 0.
/// @param _size its size; 0 sends an event without payload.
/// @return 0, also when no client is linked; `vorn_err_is_not_created`; `vorn_err_empty_vorn_memory`.
VORN_API Vorn_error vorn_stub_event_event(Vorn_inst* _event_, const void* _buffer_, Vorn_pksize _size);
/// Sends an event without payload. Results as those of `vorn_stub_event_event`.
VORN_API Vorn_error vorn_stub_event_event_nodata(Vorn_inst* _event_);

/// @}
/// @name Information publisher A value that the service publishes: it is sent to every linked client at each `post`.
/// Write it in place (`get` a block, fill it, `post` it) or in one step with `write`. One thread at a time has a block:
/// a `get` on another thread waits until the writer has called `post` or `cancel`. Call these on the thread that called
/// `get`. A second `get` there, before `post` or `cancel`, waits forever.
///
/// A stop takes the block away from its writer. The block is dead then: a `post` returns an error and a `cancel` does
/// nothing, also after a new start and while another thread has a block. The memory of a dead block stays valid until
/// its writer's next `get`, `post` or `cancel` on this method, or until the method is freed.
/// @{

/// A new information of the Stub `_object`, under `_code`.
/// @return never null. Free it with `vorn_stub_information_free`.
VORN_API Vorn_inst* vorn_stub_information_alloc(Vorn_code _code, Vorn_inst* _object,
                                                on_vorn_stub_information_link_ft* _on_information_link_,
                                                on_vorn_stub_information_unlink_ft* _on_information_unlink_);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_information_free(Vorn_inst* _information_);
/// Ends the link of one client and notifies the client. Without a link, nothing happens.
VORN_API void vorn_stub_information_unlink(Vorn_inst* _information_, Vorn_addr _proxy_addr);
/// Ends the links of all clients and notifies them.
VORN_API void vorn_stub_information_unlink_all_proxy(Vorn_inst* _information_);
/// Returns a block of `_size` bytes for the next value. It belongs to the runtime and may be written until `post` or
/// `cancel`.
/// @return null when the service is not started, or was stopped while this thread waited for another writer.
VORN_API void* vorn_stub_information_get(Vorn_inst* _information_, Vorn_pksize _size);
/// Gives the block back unpublished. Without a block, nothing happens.
VORN_API void vorn_stub_information_cancel(Vorn_inst* _information_);
/// Makes the block the current value and sends it to every linked client.
/// @param _information_ the method.
/// @param _size size of the value, at most the size that `get` was asked for.
/// @return 0, also when the send to a client failed; `vorn_err_is_not_created`; `vorn_err_dont_get` (no block, or a
///         stop took it away); `vorn_err_too_big_size`, after which the writer still has the block.
VORN_API Vorn_error vorn_stub_information_post(Vorn_inst* _information_, Vorn_pksize _size);
/// `get`, copy, `post`.
/// @return as `vorn_stub_information_post`; or `vorn_err_empty_vorn_memory` when the service was stopped while this
///         thread waited for another writer.
VORN_API Vorn_error vorn_stub_information_write(Vorn_inst* _information_, const void* _data_, Vorn_pksize _size);
/// A snapshot of the newest values that were sent, at most `_size` of them; null when the service is not started. C has
/// no function to read or free it, so it is a memory leak: use `vorn_stub_information_read`.
VORN_API Vorn_letter_case* vorn_stub_information_see_history(Vorn_inst* _information_, size_t _size);
/// Sets how many values the history keeps; at first 1. The history shrinks when the next value is sent.
VORN_API void vorn_stub_information_set_history_size(Vorn_inst* _information_, size_t _history_size);
/// Copies the newest value that was sent.
/// @param _information_ the method.
/// @param _data_ the buffer.
/// @param _size_ in: its size. Out: size of the value if that is smaller. A larger value is cut to the buffer.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history`.
VORN_API Vorn_error vorn_stub_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Command service
/// A value that each linked client sends to the service, with a history for each client.
///
/// The values of a history are freed when the client unlinks, the service ends the link while the connection stands, or
/// the service stops. When the connection is lost instead, the values that the history keeps, up to the history size
/// per lost client and method, deliberately stay allocated until the process ends. With clients that come and go, keep
/// the history size small; with 0 the history keeps nothing.
/// @{

/// A new command of the Stub `_object`, under `_code`.
/// @return never null. Free it with `vorn_stub_command_free`.
VORN_API Vorn_inst* vorn_stub_command_alloc(Vorn_code _code, Vorn_inst* _object,
                                            on_vorn_stub_command_sync_ft* _on_command_sync_,
                                            on_vorn_stub_command_link_ft* _on_command_link_,
                                            on_vorn_stub_command_unlink_ft* _on_command_unlink_);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_command_free(Vorn_inst* _command_);
/// Ends the link of one client and notifies the client. Without a link, nothing happens. Waits for a running sync
/// callback of that client, and none follows; called inside that callback, it does not wait.
VORN_API void vorn_stub_command_unlink(Vorn_inst* _command_, Vorn_addr _proxy_addr);
/// Ends the links of all clients and notifies them.
VORN_API void vorn_stub_command_unlink_all_proxy(Vorn_inst* _command_);
/// Switches the sync callback on or off; at first it is on. The histories are kept in both cases.
VORN_API void vorn_stub_command_set_sync(Vorn_inst* _command_, bool _use_on_sync);
/// A snapshot of a client's newest values, at most `_size` of them; null when the service is not started. C has no
/// function to read or free it, so it is a memory leak: use `vorn_stub_command_read`.
VORN_API Vorn_letter_case* vorn_stub_command_see_history(Vorn_inst* _command_, Vorn_addr _proxy_addr, size_t _size);
/// Sets how many values the history of each client keeps; at first 1. A history shrinks when the next value of its
/// client arrives.
VORN_API void vorn_stub_command_set_history_size(Vorn_inst* _command_, size_t _history_size);
/// Copies a client's newest value.
/// @param _command_ the method.
/// @param _proxy_addr the client.
/// @param _data_ the buffer.
/// @param _size_ in: its size. Out: size of the value if that is smaller. A larger value is cut to the buffer.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history` (no value yet, or no link).
VORN_API Vorn_error vorn_stub_command_read(Vorn_inst* _command_, Vorn_addr _proxy_addr, void* _data_,
                                           Vorn_pksize* _size_);

/// @}
/// @name Datagram sender A UDP message without link, answer or order; it may be lost. It goes to the port number of the
/// Stub, at which each started Proxy of this Stub listens.
/// @{

/// A new kind of datagram of the Stub `_object`, under `_code`.
/// @return never null. Free it with `vorn_stub_datagram_free`.
VORN_API Vorn_inst* vorn_stub_datagram_alloc(Vorn_code _code, Vorn_inst* _object);
/// Stops the whole Stub and frees the method. Null is ignored.
VORN_API void vorn_stub_datagram_free(Vorn_inst* _datagram_);
/// Sends to every host of the subnet, including this one. Results are those of `vorn_stub_datagram_cast`.
VORN_API Vorn_error vorn_stub_datagram_broadcast(Vorn_inst* _datagram_, const void* _data_, Vorn_pksize _size);
/// Sends to one host.
/// @param _datagram_ the method.
/// @param _ip the host.
/// @param _data_ the payload, copied before the return. Not read when the size is 0.
/// @param _size its size, at most 65000.
/// @return 0, also when it could not be sent; `vorn_err_is_not_created`; `vorn_err_too_big_size`;
///         `vorn_err_empty_vorn_memory`.
VORN_API Vorn_error vorn_stub_datagram_cast(Vorn_inst* _datagram_, Vorn_ip _ip, const void* _data_, Vorn_pksize _size);

/// @}
/// @name Proxy A client of one remote Stub. Its connection comes up in the background. After a loss the Proxy connects
/// again, trying once a second.
/// @{

/// A new client, not started.
/// @return never null. Free it with `vorn_proxy_free`.
VORN_API Vorn_inst* vorn_proxy_alloc(on_vorn_proxy_connect_ft* _on_connect_,
                                     on_vorn_proxy_disconnect_ft* _on_disconnect_);
/// Stops the client, if it is started, and frees it. Free its methods first. Null is ignored.
VORN_API void vorn_proxy_free(Vorn_inst* _object_);
/// Begins to connect. A process can have one started Proxy per address.
/// @return 0, also when no service listens there yet; `vorn_err_not_initialize`; `vorn_err_already_created`;
///         `vorn_err_already_used_addr`; -1 (no network thread can serve it); or a positive `errno`.
VORN_API Vorn_error vorn_proxy_start(Vorn_inst* _object_, Vorn_addr _stub_addr);
/// Closes the connection after what is queued has been sent, and ends every link without a callback. Does not wait for
/// callbacks (see "After a stop" above), and does not end the wait of an `await_` function.
///
/// From a callback the stop is incomplete until `vorn_proxy_stop_and_wait` or `vorn_proxy_free`: the client counts as
/// stopped, but the connection, the links and the address stay in use, and callbacks keep coming.
/// @return 0, or `vorn_err_is_not_created`.
VORN_API Vorn_error vorn_proxy_stop(Vorn_inst* _object_);
/// Stops the client on any thread, and returns when no callback of it and its members runs or will run: it can be freed
/// then. Completes a deferred stop, too.
/// @param _limit seconds to wait for callbacks that run; DBL_MAX for no limit.
/// @return 0; `vorn_err_local_timeout` when a callback still runs after `_limit`; `vorn_err_busy` at once, with nothing
///         changed, inside a callback of the client or of its members.
VORN_API Vorn_error vorn_proxy_stop_and_wait(Vorn_inst* _object_, double _limit);
/// Whether the connection is up.
VORN_API bool vorn_proxy_is_connected(Vorn_inst* _object_);
/// Whether the client is started.
VORN_API bool vorn_proxy_is_started(Vorn_inst* _object_);
/// Both ends of the connection. Neither pointer may be null.
/// @param _object_ the client.
/// @param _proxy_addr_ receives 127.0.0.1 with the client's port as the service knows it.
/// @param _stub_addr_ receives the address of the service.
/// @return 0; or `vorn_err_object_is_not_exist` while there is no connection, with nothing written.
VORN_API Vorn_error vorn_proxy_get_address(Vorn_inst* _object_, Vorn_addr* _proxy_addr_, Vorn_addr* _stub_addr_);

/// @}
/// @name Call client
/// Calls one operation of a remote Stub. Several calls may be outstanding at once.
/// @{

/// A new client of the call `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_call_free`.
VORN_API Vorn_inst* vorn_proxy_call_alloc(Vorn_code _code, Vorn_inst* _object_,
                                          on_vorn_proxy_call_return_ft* _on_return_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_call_free(Vorn_inst* _call_);
/// Sends a request and returns at once; the answer comes to the callback. If no answer comes, for instance because the
/// connection is lost, the callback is not called. Pace the calls: see "Pace" above.
/// @param _call_ the method.
/// @param _seq_ receives the number of the request before it is sent; 0 for a request that failed before it had a
///        number. Not null.
/// @param _call_data_ the payload, copied before the return. Null sends no payload.
/// @param _call_size its size.
/// @param _limit_time seconds. The largest double means no limit; with 0 or less the receiving process drops the
///        request.
/// @return 0; `vorn_err_is_not_created`; `vorn_err_object_is_not_exist` (not connected);
///         `vorn_err_empty_vorn_memory`; `vorn_err_busy_localhost`.
VORN_API Vorn_error vorn_proxy_call_delegate_call(Vorn_inst* _call_, Vorn_seq* _seq_, const void* _call_data_,
                                                  Vorn_pksize _call_size, double _limit_time);
/// Sends a request and returns a promise, never null, for `vorn_proxy_call_await_return`, which also reports a failure
/// to send. The failures are those of `vorn_proxy_call_delegate_call`. The limit also ends the wait; a limit whose end
/// does not fit in the system clock ends the wait at once.
VORN_API Vorn_promise* vorn_proxy_call_async_call(Vorn_inst* _call_, const void* _call_data_, Vorn_pksize _call_size,
                                                  double _limit_time);
/// Blocks until the answer, a lost connection or the limit, then frees the promise.
/// @param _call_ the method.
/// @param _promise_ of `vorn_proxy_call_async_call`.
/// @param _return_data_ receives the answer. May be null for an answer without payload.
/// @param _size_ in: size of the buffer. Out: size of the answer, also when the buffer is too small. May be null for an
///        answer without payload.
/// @param _time_ if not null: receives the seconds since the call.
/// @return the error that the service returned, 0 for success; `vorn_err_boundout_buffer` (the buffer is too small or
///         null; the answer is lost); `vorn_err_local_timeout`; `vorn_err_disconnected_tcp`; `vorn_err_is_not_created`
///         (stopped before the wait); `vorn_err_null_return_object`; or the failure to send.
VORN_API Vorn_error vorn_proxy_call_await_return(Vorn_inst* _call_, Vorn_promise* _promise_, void* _return_data_,
                                                 Vorn_pksize* _size_, double* _time_);
/// Runs the cancel callback of the service, after the handler of this code that is running. Names no call, and ends no
/// wait on this side.
VORN_API void vorn_proxy_call_cancel(Vorn_inst* _call_, Vorn_error _error);

/// @}
/// @name Signal client
/// Sends a message to a remote Stub, which acknowledges its arrival.
/// @{

/// A new client of the signal `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_signal_free`.
VORN_API Vorn_inst* vorn_proxy_signal_alloc(Vorn_code _code, Vorn_inst* _object_,
                                            on_vorn_proxy_signal_return_ft* _on_return_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_signal_free(Vorn_inst* _signal_);
/// Sends a signal and returns at once; the acknowledgement comes to the callback. Arguments, results and pace are those
/// of `vorn_proxy_call_delegate_call`.
VORN_API Vorn_error vorn_proxy_signal_delegate_signal(Vorn_inst* _signal_, Vorn_seq* _seq_, const void* _sig_data_,
                                                      Vorn_pksize _sig_size, double _limit_time);
/// Sends a signal and returns a promise, never null, for `vorn_proxy_signal_await_return`, which also reports a failure
/// to send.
VORN_API Vorn_promise* vorn_proxy_signal_async_signal(Vorn_inst* _signal_, const void* _signal_data_,
                                                      Vorn_pksize _call_size, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, then frees the promise.
/// @param _signal_ the method.
/// @param _ret_promise of `vorn_proxy_signal_async_signal`.
/// @param _time_ if not null: receives the seconds since the signal.
/// @return as `vorn_proxy_call_await_return`, without `vorn_err_boundout_buffer`.
VORN_API Vorn_error vorn_proxy_signal_await_return(Vorn_inst* _signal_, Vorn_promise* _ret_promise, double* _time_);
/// `vorn_proxy_signal_async_signal`, then at once `vorn_proxy_signal_await_return`.
VORN_API Vorn_error vorn_proxy_signal_signal(Vorn_inst* _signal_, const void* _signal_data_,
                                             const Vorn_pksize _signal_size, double _limit_time, double* _time_);
/// Runs the cancel callback of the service, after the handler of this code that is running. Names no signal, and ends
/// no wait on this side.
VORN_API void vorn_proxy_signal_cancel(Vorn_inst* _signal_, Vorn_error _error);

/// @}
/// @name Event subscriber A link to the events of a remote Stub. Ask for it when the connection is up. It ends with the
/// connection; ask again after the next connect callback.
/// @{

/// A new client of the event `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_event_free`.
VORN_API Vorn_inst* vorn_proxy_event_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_event_link_ft* _on_link_,
                                           on_vorn_proxy_event_unlink_ft* _on_unlink_,
                                           on_vorn_proxy_event_ft* _on_event_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_event_free(Vorn_inst* _event_);
/// Whether the link stands, as far as this side knows.
VORN_API bool vorn_proxy_event_is_linked(Vorn_inst* _event_);
/// Asks for the link and returns at once; the answer comes to the link callback.
/// @param _event_ the method.
/// @param _msg_num_ receives the number of the request before it is sent. Not null.
/// @param _limit_time seconds.
/// @return as `vorn_proxy_call_delegate_call`; or `vorn_err_already_connected` when the link stands.
VORN_API Vorn_error vorn_proxy_event_delegate_link(Vorn_inst* _event_, Vorn_msg_num* _msg_num_, double _limit_time);
/// Asks for the link and returns a promise, never null, for `vorn_proxy_event_await_link_return`, which also reports a
/// failure to send.
VORN_API Vorn_promise* vorn_proxy_event_async_link(Vorn_inst* _event_, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, then frees the promise.
/// @param _event_ the method.
/// @param _promise_ of `vorn_proxy_event_async_link`.
/// @param _time_ if not null: receives the seconds since the request.
/// @return 0: the link stands. Otherwise as `vorn_proxy_call_await_return`, without `vorn_err_boundout_buffer`. After
///         `vorn_err_local_timeout` the service may have entered the link although it does not stand here: ask again,
///         which the service accepts.
VORN_API Vorn_error vorn_proxy_event_await_link_return(Vorn_inst* _event_, Vorn_promise* _promise_, double* _time_);
/// Ends the link. Events that are still on their way are dropped; an event callback that runs is not waited for.
/// Without a link, nothing happens.
VORN_API void vorn_proxy_event_unlink(Vorn_inst* _event_);

/// @}
/// @name Information subscriber
/// Follows a value of a remote Stub over a link, by TCP or by multicast, and keeps the latest values.
/// @{

/// A new client of the information `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_information_free`.
VORN_API Vorn_inst* vorn_proxy_information_alloc(Vorn_code _code, Vorn_inst* _object_,
                                                 on_vorn_proxy_information_link_ft* _on_link_,
                                                 on_vorn_proxy_information_unlink_ft* _on_unlink_,
                                                 on_vorn_proxy_information_sync_ft* _on_sync_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_information_free(Vorn_inst* _information_);
/// Whether the link stands, as far as this side knows.
VORN_API bool vorn_proxy_information_is_linked(Vorn_inst* _information_);
/// Asks for the link and returns at once; the answer comes to the link callback.
///
/// The last argument is not a limit: it chooses the transport. The limit is always one second.
/// @param _information_ the method.
/// @param _msg_num_ receives the number of the request before it is sent. Not null.
/// @param _limit_time 0.0: by multicast. Any other number: by TCP.
/// @return as `vorn_proxy_event_delegate_link`.
VORN_API Vorn_error vorn_proxy_information_delegate_link(Vorn_inst* _information_, Vorn_msg_num* _msg_num_,
                                                         double _limit_time);
/// Asks for the link and returns a promise, never null, for `vorn_proxy_information_await_link_return`, which also
/// reports a failure to send.
/// @param _information_ the method.
/// @param _reliability true: by TCP. False: by multicast.
/// @param _limit_time seconds.
VORN_API Vorn_promise* vorn_proxy_information_async_link(Vorn_inst* _information_, bool _reliability,
                                                         double _limit_time);
/// Blocks until the answer, a lost connection or the limit, then frees the promise. Arguments and results are
/// those of `vorn_proxy_event_await_link_return`.
VORN_API Vorn_error vorn_proxy_information_await_link_return(Vorn_inst* _information_, Vorn_promise* _promise_,
                                                             double* _time_);
/// Ends the link and empties the history. A sync callback that runs is not waited for.
VORN_API void vorn_proxy_information_unlink(Vorn_inst* _information_);
/// Switches the sync callback on or off; at first it is on. The history is kept in both cases.
VORN_API void vorn_proxy_information_set_sync(Vorn_inst* _information_, bool _use_on_sync);
/// A snapshot of the newest values, at most `_size` of them; null when there is no link. C has no function to read or
/// free it, so it is a memory leak: use `vorn_proxy_information_read`.
VORN_API Vorn_letter_case* vorn_proxy_information_see_history(Vorn_inst* _information_, size_t _size);
/// Sets how many values the history keeps; at first 1. The history shrinks when the next value arrives.
VORN_API void vorn_proxy_information_set_history_size(Vorn_inst* _information_, size_t _history_size);
/// Copies the newest value.
/// @param _information_ the method.
/// @param _data_ the buffer.
/// @param _size_ in: its size. Out: size of the value if that is smaller. A larger value is cut to the buffer.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history` (no value yet, or no link).
VORN_API Vorn_error vorn_proxy_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Command client Sends a value to a remote Stub over a link, at each `post` or at a fixed rate. The values that
/// were sent are kept in a history, which outlives the link and the connection; a stop drops it. `get`, `post`,
/// `cancel` and dead blocks are as at the information publisher. A value that is posted while no link stands becomes
/// the current value and is not sent.
/// @{

/// A new client of the command `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_command_free`.
VORN_API Vorn_inst* vorn_proxy_command_alloc(Vorn_code _code, Vorn_inst* _object_,
                                             on_vorn_proxy_command_link_ft* _on_link_,
                                             on_vorn_proxy_command_unlink_ft* _on_unlink_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_command_free(Vorn_inst* _command_);
/// Whether the link stands, as far as this side knows.
VORN_API bool vorn_proxy_command_is_linked(Vorn_inst* _command_);
/// Asks for the link and returns at once; the answer comes to the link callback. Arguments and results are those of
/// `vorn_proxy_event_delegate_link`.
VORN_API Vorn_error vorn_proxy_command_delegate_link(Vorn_inst* _command_, Vorn_msg_num* _msg_num_, double _limit_time);
/// Asks for the link and returns a promise, never null, for `vorn_proxy_command_await_link_return`, which also reports
/// a failure to send.
VORN_API Vorn_promise* vorn_proxy_command_async_link(Vorn_inst* _command_, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, then frees the promise. Arguments and results are
/// those of `vorn_proxy_event_await_link_return`.
VORN_API Vorn_error vorn_proxy_command_await_link_return(Vorn_inst* _command_, Vorn_promise* _promise_, double* _time_);
/// Ends the link. Without a link, nothing happens.
VORN_API void vorn_proxy_command_unlink(Vorn_inst* _command_);
/// Chooses how values are sent. Waits for a send of the timer that runs.
/// @param _command_ the method.
/// @param _reliability true, the initial setting: no value is dropped on this side. False: a value is dropped while
///        another message waits to be sent on the connection, or while more than one message waits in the receiving
///        process.
/// @param _sync_model `vorn_on_post`, the initial setting, or `vorn_on_timer`.
/// @param _interval for `vorn_on_timer`: seconds between two sends of the current value, above 0.
VORN_API void vorn_proxy_command_set_sync_model(Vorn_inst* _command_, bool _reliability, Vorn_sync_model _sync_model,
                                                double _interval);
/// Returns a block of `_size` bytes for the next value. It belongs to the runtime and may be written until `post` or
/// `cancel`.
/// @return null when the client is not started, or was stopped while this thread waited for another writer.
VORN_API void* vorn_proxy_command_get(Vorn_inst* _command_, Vorn_pksize _size);
/// Gives the block back unsent. Without a block, nothing happens.
VORN_API void vorn_proxy_command_cancel(Vorn_inst* _command_);
/// Makes the block the current value. In the model `vorn_on_post` it is sent, if the link stands.
/// @param _command_ the method.
/// @param _size size of the value, at most the size that `get` was asked for.
/// @return 0, whether or not the value could be sent; failures are those of `vorn_stub_information_post`.
VORN_API Vorn_error vorn_proxy_command_post(Vorn_inst* _command_, Vorn_pksize _size);
/// `get`, copy, `post`.
/// @return as `vorn_proxy_command_post`; or `vorn_err_empty_vorn_memory` when the client was stopped while this thread
///         waited for another writer.
VORN_API Vorn_error vorn_proxy_command_write(Vorn_inst* _command_, const void* _data_, Vorn_pksize _size);
/// A snapshot of the newest values that were sent, at most `_size` of them; never null. C has no function to read or
/// free it, so it is a memory leak: use `vorn_proxy_command_read`.
VORN_API Vorn_letter_case* vorn_proxy_command_see_history(Vorn_inst* _command_, size_t _size);
/// Sets how many values the history keeps; at first 1. The history shrinks when the next value is sent.
VORN_API void vorn_proxy_command_set_history_size(Vorn_inst* _command_, size_t _history_size);
/// Copies the newest value that was sent. Arguments and results are those of `vorn_proxy_information_read`.
VORN_API Vorn_error vorn_proxy_command_read(Vorn_inst* _command_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Datagram receiver Receives the datagrams of a remote Stub while its Proxy is started, connected or not. Drops
/// a datagram that does not come from the address that the Proxy was started with.
/// @{

/// A new receiver of the datagram `_code`, on the Proxy `_object_`.
/// @return never null. Free it with `vorn_proxy_datagram_free`.
VORN_API Vorn_inst* vorn_proxy_datagram_alloc(Vorn_code _code, Vorn_inst* _object_,
                                              on_vorn_proxy_datagram_cast_ft* _on_datagram_);
/// Stops the whole Proxy and frees the method. Null is ignored.
VORN_API void vorn_proxy_datagram_free(Vorn_inst* _datagram_);

/// @}
/// @name Runtime and utilities
/// @{

/// Name of a result, for instance "VORN_ERR_BUSY_"; "VORN_ERR_UNKNOWN_" for any other number. The text is
/// static.
VORN_API const char* vorn_get_err_str(Vorn_error _err);
/// Finds a service by its name, among the names received in the last eight seconds. Each process broadcasts the names
/// of its services once a second.
/// @param _name_ the name. Not null.
/// @param _stub_addr_ receives the address if the name is found. Not null.
/// @return number of addresses found: 0 or 1.
VORN_API size_t vorn_get_address(const char* _name_, Vorn_addr* _stub_addr_);
/// One name of the directory.
typedef struct {
    char name[256];   ///< A longer one is cut.
    Vorn_addr addr;   ///< The service that was heard last under this name.
    double age;       ///< Seconds since the name was first heard without a pause of eight seconds.
    double silence;   ///< Seconds since it was last heard.
    Vorn_addr rival;  ///< Another service that takes turns in using the name. Port 0 if there is none.
} Vorn_known_name;
/// The names that `vorn_get_address` finds, ordered by name.
/// @param _names_ room for `_count` of them; null with a count of 0.
/// @return how many there are; no more than `_count` are written.
VORN_API size_t Vorn_known_names(Vorn_known_name* _names_, size_t _count);
/// IPv4 address of a text such as "198.51.100.1", like the C library's `inet_addr`: 255.255.255.255 for a text that is
/// no address, or null.
VORN_API Vorn_ip vorn_inet_addr(const char* _ip_);
/// Text of an address, in the buffer of the C library's `inet_ntoa`: valid until the next call on the same thread.
VORN_API char* vorn_inet_ntoa(Vorn_ip _ip);

/// Starts the runtime: 8 listener threads, 1 timer thread and 5 network threads. Call it once, before any start; after
/// `vorn_finalize` it may be called again.
///
/// Settings come from the file "../Config/vorn.ini", relative to the working directory. Without the file, or if it is
/// not an INI file, the defaults apply. A file that lacks one of the keys, or has a value that is not a number, raises
/// a C++ exception, which ends a C program.
/// @return 0, or `vorn_err_already_created`. Failures of the network are not reported.
VORN_API Vorn_error vorn_initialize_default(void);
/// `vorn_initialize_default` with a chosen number of listener threads.
/// @param _thread_count number of listener threads, which run the callbacks. With 0 no callback runs.
/// @param _call_buffer_count stored, but changes no limit.
/// @param _udp_buffer_count ignored.
/// @return as `vorn_initialize_default`.
VORN_API Vorn_error vorn_initialize(size_t _thread_count, size_t _call_buffer_count, size_t _udp_buffer_count);
/// Options for `Vorn_initialize_with`. Runtime_options.h describes each field, under the same name.
typedef struct {
    size_t size;  ///< Bytes of this structure: set it to `sizeof(Vorn_options)`. Later versions add fields at the end.
    size_t listeners;          ///< Threads that run callbacks.
    bool exact_waits;          ///< A wait returns an answer that came before it began.
    size_t receive_messages;   ///< Messages of one connection that may wait; 0: 16 in the whole process.
    size_t receive_bytes;      ///< And their bytes.
    bool keep_notices;         ///< Notices are never refused.
    bool exact_order;          ///< Messages that run one at a time run in the order of their arrival.
    bool repeat_by_port;       ///< Clients of one host do not repeat each other.
    bool retry_resources;      ///< Goes on to accept when there are descriptors again.
    double opening_limit;      ///< Seconds for an opening exchange; 0: none.
    double silence_limit;      ///< Seconds without a byte after which a peer counts as lost.
    bool tell_silent_clients;  ///< A silent client is told to its service as lost.
    size_t send_bytes;         ///< Bytes that may wait to be sent on one connection; 0: no bound.
    bool expire_queued;        ///< A request that expired behind its handler does not run.
    bool complete_stops;       ///< A stop in a callback is complete when the callback has returned.
    bool tell_names_at_once;   ///< A name is found in milliseconds.
    bool restore_links;        ///< Links return with their connection.
    bool current_values;       ///< A new link of an information gets the current value at once.
    bool share_counters;       ///< Other programs may read the counters of this process.
} Vorn_options;
/// Fills in the standard options; set `size` before.
VORN_API void Vorn_options_standard(Vorn_options* _options_);
/// The same for the reliable profile.
VORN_API void Vorn_options_reliable(Vorn_options* _options_);
/// `vorn_initialize_default` with options. Without options the environment variable "VORN35_PROFILE", or else the key
/// "PROFILE" in vorn.ini, chooses "standard" or "reliable".
/// @return as `vorn_initialize_default`; `EINVAL` for an option out of range, whose name goes to standard error.
VORN_API Vorn_error Vorn_initialize_with(const Vorn_options* _options_);

/// Ends the runtime: waits for running callbacks, then ends and joins all its threads. Never call it from a callback.
/// Stops all objects that are started, without callbacks; they may be freed later. After it no callback runs.
/// @return 0.
VORN_API Vorn_error vorn_finalize(void);

/// One number of `Vorn_statistics`. The texts live as long as the process.
typedef struct {
    const char* name;    ///< For example "vorn35_messages_received_total".
    const char* labels;  ///< For example `kind="call"`; empty if there is none.
    const char* help;    ///< One sentence.
    bool is_gauge;       ///< A present state, which may fall. Otherwise a count since the start of the process.
    double value;        ///< In the unit that the name ends with.
} Vorn_statistic;
/// A snapshot of all counters and gauges, in a fixed order.
/// @param _statistics_ room for `_count` of them; null with a count of 0.
/// @return how many there are; no more than `_count` are written.
VORN_API size_t Vorn_statistics(Vorn_statistic* _statistics_, size_t _count);

/// One connection that stands.
typedef struct {
    Vorn_addr peer;           ///< The service's address, or the client's.
    bool is_client;           ///< This process is the client of the connection.
    double age;               ///< Seconds since its attempt began.
    uint64_t received_bytes;  ///< Of messages, headers included.
    uint64_t sent_bytes;      ///< The same.
    size_t queued_messages;   ///< That wait to be sent.
    size_t queued_bytes;      ///< In them.
    size_t waiting_messages;  ///< Received, and not finished by a handler. 0 without `receive_messages`.
    size_t waiting_bytes;     ///< In them.
    bool is_paused;           ///< Over its receive bounds, and not read.
} Vorn_connection;
/// A snapshot of the connections that stand: those to services, then those from clients.
/// @param _connections_ room for `_count` of them; null with a count of 0.
/// @return how many there are; no more than `_count` are written.
VORN_API size_t Vorn_connections(Vorn_connection* _connections_, size_t _count);

/// Gives both keys one queue: their messages together run one at a time. If both had queues, `_b` moves to the queue of
/// `_a`, and messages that waited under `_b` are dropped unless another key shares that queue. So group the methods of
/// a Stub directly after each start, which gives each method a queue of its own. While the runtime is not initialized,
/// nothing happens.
VORN_API void vorn_msg_processing_by_serial_group(Vorn_msg_addr _a, Vorn_msg_addr _b);
/// Gives the key a queue of its own: its messages run one at a time. A start of a Stub does this for each of its calls,
/// signals, events, commands and informations; its stop removes these keys. A stop of a Proxy leaves the order of a
/// started Stub of this process alone.
VORN_API void vorn_msg_processing_by_serial_alone(Vorn_msg_addr _a);
/// Removes the key: its messages run in parallel. The messages that wait in the queue of the key are dropped, unless
/// another key of its group is left.
VORN_API void vorn_msg_processing_by_parallel(Vorn_msg_addr _a);

/// @}

#ifdef __cplusplus
}
#endif

#endif
