/// @file
/// The C interface of Vorn35: plain functions over the classes of the other headers, for programs that cannot
/// use those. Valid C11 and C++.
///
/// **Objects.** Every object is a `Vorn_inst*`. A service is a *Stub* with *methods* (calls, signals, events,
/// informations, commands, datagrams), each under a code of its own; a client is a *Proxy* with methods of
/// the same kinds and codes. Each `_alloc` has its `_free`, and a handle is good for the functions of its own
/// family only (`vorn_stub_call_...` for one of `vorn_stub_call_alloc`). It is not checked.
///
/// **Life.**
/// 1. `vorn_initialize_default`.
/// 2. `vorn_stub_alloc` or `vorn_proxy_alloc`, then its methods. Those of a Stub must be there before
///    `vorn_stub_start`: messages of a method that is added later are not put in order.
/// 3. `vorn_stub_start` or `vorn_proxy_start`.
/// 4. The `_free` functions, methods first and the Stub or Proxy last. Freeing *any* method stops the whole
///    Stub or Proxy that it belongs to: the other methods stay allocated and receive nothing more.
/// 5. `vorn_finalize`.
///
/// **Callbacks** run on the runtime's listener threads, several at once, and may call every function but
/// `vorn_finalize`. The first argument is the object that the callback was given to; there is no user
/// pointer, so a program that needs one keeps a table. Every callback must be a real function, none may be
/// null. A pointer to data that a callback receives is valid until it returns. A `_free` does not wait for a
/// callback that runs: do not free an object while one of its callbacks may run. In C++, a callback must not
/// throw.
///
/// **Threads.** Every function may be called on any thread, unless it is told otherwise.
///
/// **Results.** 0 is success, and every failure of the runtime is negative: see `vorn_err_none` and its like,
/// and `vorn_get_err_str` for the name. A program may use numbers of its own; they travel like any other. No
/// failure is thrown as an exception, but for a system that has no memory or locks left, and for the
/// configuration file (`vorn_initialize_default`).
///
/// **Times** are in seconds. An exchange has a limit that counts down from hop to hop; what is late is
/// dropped.
///
/// **Requests** are made in two ways. `delegate_` functions return at once, and the answer comes to a
/// callback, which names the number of the request. `async_` functions give a `Vorn_promise*`, which the
/// matching `await_` function waits for and frees. Such a wait is one timed wait: an answer that arrives
/// before it has begun does not end it. It then runs to its limit and gives `vorn_err_local_timeout`,
/// although the service answered. So choose limits with that in mind and repeat what may be repeated, or use
/// the `delegate_` form.
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

/// Visible to users of a shared library, however much of the rest is hidden.
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

/// IPv4 address in network byte order: 127.0.0.1 is 0x0100007F on the hosts that the runtime supports.
typedef uint32_t Vorn_ip;
/// Port number, in host byte order.
typedef uint16_t Vorn_port;
/// Address of one end of a connection, or of a Stub.
typedef struct Vorn_addr {
    Vorn_ip ip;      ///< The host.
    Vorn_port port;  ///< The port on it.
} Vorn_addr;
/// Selects one method inside a Stub. A code may be used once in each kind.
typedef uint16_t Vorn_code;
/// Number of a request, widened: 0 to 65535.
typedef uint32_t Vorn_seq;
/// Number of a request as it travels. Wraps at 16 bits; 0 is a number like any other.
typedef uint16_t Vorn_msg_num;
/// Payload size in bytes.
typedef uint32_t Vorn_pksize;
/// Result: 0 is success.
typedef int32_t Vorn_error;
/// When a value is handed out: `vorn_on_post` or `vorn_on_timer`.
typedef uint8_t Vorn_sync_model;
/// Key under which messages are put in order: see `vorn_msg_processing_by_serial_alone`.
typedef struct Vorn_msg_addr {
    Vorn_port port;       ///< Port of the Stub.
    Vorn_code code;       ///< The method.
    uint8_t transaction;  ///< Its kind: 1 call, 2 signal, 3 event, 4 command, 5 information, 6 datagram.
} Vorn_msg_addr;

/// An object of the runtime.
typedef struct Vorn_inst Vorn_inst;
/// An outstanding request. To be awaited exactly once, on one thread; one that is never awaited is never
/// freed.
typedef struct Vorn_promise Vorn_promise;
/// A snapshot of a history. This interface has no function that reads or frees one.
typedef struct Vorn_letter_case Vorn_letter_case;

/// The value goes out at each `post`: 0.
extern VORN_API const Vorn_sync_model vorn_on_post;
/// The value goes out at a fixed rate: 1.
extern VORN_API const Vorn_sync_model vorn_on_timer;

/// @}
/// @name Results
/// @{

/// The results of the runtime. The name that `vorn_get_err_str` gives is in capitals with a line behind it,
/// "VORN_ERR_BUSY_" for `vorn_err_busy`.
enum {
    vorn_err_none = 0,  ///< Success.

    // Reported by the process that a message reached.
    vorn_err_already_used_name = -0x7FFFFFFF,    ///< 0x80000001: the name is taken in this process.
    vorn_err_object_is_not_exist = -0x7FFFFFFE,  ///< 0x80000002: no addressee there, or not connected here.
    vorn_err_not_support_code = -0x7FFFFFFD,     ///< 0x80000003: the Stub has no method of this code.
    vorn_err_not_implement = -0x7FFFFFFC,        ///< 0x80000004: reserved.
    vorn_err_remote_timeout = -0x7FFFFFFB,       ///< 0x80000005: an answer came after its limit.
    vorn_err_busy = -0x7FFFFFFA,                 ///< 0x80000006: too many messages wait there.
    vorn_err_shutdown = -0x7FFFFFF9,             ///< 0x80000007: the process is shutting down.

    // Raised on the caller's side.
    vorn_err_local_timeout = -0x40000000,       ///< 0xC0000000: an `await_` function ran out of time.
    vorn_err_not_connected_tcp = -0x3FFFFFFF,   ///< 0xC0000001: the connection of a queued message is gone.
    vorn_err_boundout_buffer = -0x3FFFFFFE,     ///< 0xC0000002: the buffer is too small for the answer.
    vorn_err_busy_localhost = -0x3FFFFFFD,      ///< 0xC0000003: the send was refused on the local side.
    vorn_err_too_big_size = -0x3FFFFFFC,        ///< 0xC0000004: more bytes than the buffer or a datagram holds.
    vorn_err_is_not_created = -0x3FFFFFFB,      ///< 0xC0000005: the Stub or Proxy is not started.
    vorn_err_null_return_object = -0x3FFFFFFA,  ///< 0xC0000006: the promise is null.
    vorn_err_already_connected = -0x3FFFFFF9,   ///< 0xC0000007: the link stands already.
    vorn_err_already_created = -0x3FFFFFF8,     ///< 0xC0000008: started already.
    vorn_err_disconnected_tcp = -0x3FFFFFF7,    ///< 0xC0000009: the connection dropped.
    vorn_err_durty_memory = -0x3FFFFFF6,        ///< 0xC000000A: somebody wrote past the end of a block.
    vorn_err_overlaped_packet = -0x3FFFFFF5,    ///< 0xC000000B: reserved.

    // State and memory.
    vorn_err_dont_get = -0x30000000,              ///< 0xD0000000: `post` without a block of `get`.
    vorn_err_empty_vorn_memory = -0x2FFFFFFF,     ///< 0xD0000001: a block could not be had.
    vorn_err_empty_process_memory = -0x2FFFFFFE,  ///< 0xD0000002: reserved.
    vorn_err_not_exist_sync_data = -0x2FFFFFFD,   ///< 0xD0000003: there is no value to hand out.
    vorn_err_empty_history = -0x2FFFFFFC,         ///< 0xD0000004: no value has gone out, or come.
    vorn_err_already_used_addr = -0x2FFFFFFB,     ///< 0xD0000005: the address is taken in this process.
    vorn_err_not_initialize = -0x2FFFFFFA         ///< 0xD0000006: the runtime is not up.
};

/// @}
/// @name Callbacks of a service
/// @{

/// A client has connected. Its requests may follow at once.
typedef void on_vorn_stub_connect_ft(Vorn_inst* _object_, Vorn_addr _proxy_addr);
/// A client's connection is gone, after the unlink callback of each of its links.
typedef void on_vorn_stub_disconnect_ft(Vorn_inst* _object_, Vorn_addr _proxy_addr);

/// A call has come. Calls of one code run one at a time.
/// @param _call_ the method.
/// @param _proxy_addr the client.
/// @param _in_buf_ the payload of the request; null when there is none.
/// @param _in_buf_size its bytes.
/// @param _out_buf_ where the answer goes; null when the method was made with a capacity of 0.
/// @param _out_buf_size_ in: the capacity. Out: the bytes written, at most the capacity.
/// @param _elapsed_time seconds that the request has lived so far.
/// @param _limit_time seconds that the caller still waits. Nothing stops a callback that takes longer.
/// @return 0, or an error that the caller receives instead of an answer.
typedef Vorn_error on_vorn_stub_call_ft(Vorn_inst* _call_, Vorn_addr _proxy_addr, const void* _in_buf_,
                                        Vorn_pksize _in_buf_size, void* _out_buf_, Vorn_pksize* _out_buf_size_,
                                        double _elapsed_time, double _limit_time);
/// A client has given up a call of this code, or an answer could not be delivered. Which one, is not told.
typedef void on_vorn_stub_call_cancel_ft(Vorn_inst* _call_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A signal has come and its answer has left. Signals of one code run one at a time.
/// @param _signal_ the method.
/// @param _proxy_addr the client.
/// @param _buf_ the payload; null when there is none.
/// @param _buf_size its bytes.
/// @param _elapsed_time seconds that the signal has lived so far.
typedef void on_vorn_stub_signal_ft(Vorn_inst* _signal_, Vorn_addr _proxy_addr, const void* _buf_,
                                    Vorn_pksize _buf_size, double _elapsed_time);
/// A client has given up a signal of this code, or an answer could not be delivered. Which one, is not told.
typedef void on_vorn_stub_signal_cancel_ft(Vorn_inst* _signal_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A client asks for a link to an event; also one that has a link already.
/// @param _event_ the method.
/// @param _proxy_addr the client.
/// @param _elapsed_time seconds that the request has lived so far.
/// @param _limit_time seconds that the client still waits.
/// @return 0 to accept it, or an error that the client receives.
typedef Vorn_error on_vorn_stub_event_link_ft(Vorn_inst* _event_, Vorn_addr _proxy_addr, double _elapsed_time,
                                              double _limit_time);
/// A client of an event has left (its own reason), or its connection is gone (`vorn_err_disconnected_tcp`).
/// Not called for an end that the service asked for. A client that leaves without a link is told of, too.
typedef void on_vorn_stub_event_unlink_ft(Vorn_inst* _event_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A client asks for a link to an information; also one that has a link already.
/// @param _information_ the method.
/// @param _proxy_addr the client.
/// @param _reliability true: by TCP. False: by multicast.
/// @param _elapsed_time seconds that the request has lived so far.
/// @param _limit_time seconds that the client still waits.
/// @return 0 to accept it, or an error that the client receives.
typedef Vorn_error on_vorn_stub_information_link_ft(Vorn_inst* _information_, Vorn_addr _proxy_addr, bool _reliability,
                                                    double _elapsed_time, double _limit_time);
/// A client of an information has left, as told at `on_vorn_stub_event_unlink_ft`.
typedef void on_vorn_stub_information_unlink_ft(Vorn_inst* _information_, Vorn_addr _proxy_addr, Vorn_error _error);

/// A value of a linked client has come; it is in that client's history already.
/// @param _command_ the method.
/// @param _proxy_addr the client.
/// @param _sync_model how the client hands out: `vorn_on_post` or `vorn_on_timer`.
/// @param _elapsed_time age of the value in seconds.
/// @param _limit seconds that the value is good for, as the client set them; very large for `vorn_on_post`.
/// @param _buffer_ the value; null when it is empty.
/// @param _size its bytes.
typedef void on_vorn_stub_command_sync_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, Vorn_sync_model _sync_model,
                                          double _elapsed_time, double _limit, const void* _buffer_, Vorn_pksize _size);
/// A client asks for a link to a command, as told at `on_vorn_stub_event_link_ft`. A client that has a link
/// already keeps its history.
typedef Vorn_error on_vorn_stub_command_link_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, double _elapsed_time,
                                                double _limit_time);
/// A client of a command has left, as told at `on_vorn_stub_event_unlink_ft`. Its history is gone.
typedef void on_vorn_stub_command_unlink_ft(Vorn_inst* _command_, Vorn_addr _proxy_addr, Vorn_error _error);

/// @}
/// @name Callbacks of a client
/// @{

/// The connection is up. The place to ask for links.
typedef void on_vorn_proxy_connect_ft(Vorn_inst* _object_);
/// The connection was lost, after the unlink callback of each link. Not called by `vorn_proxy_stop`.
typedef void on_vorn_proxy_disconnect_ft(Vorn_inst* _object_);

/// The answer of a `vorn_proxy_call_delegate_call`.
/// @param _call_ the method.
/// @param _seq the number of the request.
/// @param _err 0, the error of the service, or that of its host, for instance `vorn_err_not_support_code`.
/// @param _ret_data_ the answer; null when it carries no payload.
/// @param _ret_size its bytes.
/// @param _elapsed_time seconds that the answer has lived.
typedef void on_vorn_proxy_call_return_ft(Vorn_inst* _call_, Vorn_seq _seq, Vorn_error _err, const void* _ret_data_,
                                          Vorn_pksize _ret_size, double _elapsed_time);
/// The answer of a `vorn_proxy_signal_delegate_signal`: its number, the result, and the seconds that the
/// answer has lived.
typedef void on_vorn_proxy_signal_return_ft(Vorn_inst* _signal_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);

/// The answer of a `vorn_proxy_event_delegate_link`: its number, the result (0: the link stands), and the
/// seconds that the answer has lived.
typedef void on_vorn_proxy_event_link_ft(Vorn_inst* _event_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);
/// The answer of a `vorn_proxy_information_delegate_link`, as for an event.
typedef void on_vorn_proxy_information_link_ft(Vorn_inst* _information_, Vorn_seq _seq, Vorn_error _err,
                                               double _elapsed_time);
/// The answer of a `vorn_proxy_command_delegate_link`, as for an event.
typedef void on_vorn_proxy_command_link_ft(Vorn_inst* _command_, Vorn_seq _seq, Vorn_error _err, double _elapsed_time);

/// The link has ended without our asking: by the service (0), or with the connection
/// (`vorn_err_disconnected_tcp`; the disconnect callback follows).
typedef void on_vorn_proxy_event_unlink_ft(Vorn_inst* _event_, Vorn_error _err);
/// The link has ended, as told at `on_vorn_proxy_event_unlink_ft`. The history is empty.
typedef void on_vorn_proxy_information_unlink_ft(Vorn_inst* _information_, Vorn_error _err);
/// The link has ended, as told at `on_vorn_proxy_event_unlink_ft`. Value and history stay.
typedef void on_vorn_proxy_command_unlink_ft(Vorn_inst* _command_, Vorn_error _err);

/// An event of the service: its payload (null when there is none), the bytes, and the seconds that it has
/// lived. Two events may overtake each other.
typedef void on_vorn_proxy_event_ft(Vorn_inst* _event_, const void* _event_data_, Vorn_pksize _event_size,
                                    double _elapsed_time);
/// A new value; it is in the history already. Two values may overtake each other.
/// @param _information_ the method.
/// @param _sync_model how the service hands out: `vorn_on_post` or `vorn_on_timer`.
/// @param _elapsed_time age of the value in seconds.
/// @param _limit seconds that the value is good for; very large for `vorn_on_post`.
/// @param _buffer_ the value; null when it is empty.
/// @param _size its bytes.
typedef void on_vorn_proxy_information_sync_ft(Vorn_inst* _information_, Vorn_sync_model _sync_model,
                                               double _elapsed_time, double _limit, const void* _buffer_,
                                               Vorn_pksize _size);
/// A datagram of the service: its address, the payload (null when there is none), the bytes, and the seconds
/// that it has lived.
typedef void on_vorn_proxy_datagram_cast_ft(Vorn_inst* _datagram_, Vorn_addr _stub_addr, const void* _buf_,
                                            Vorn_pksize _size, double _elapsed_time);

/// @}
/// @name Stub
/// A service of this process. Owns one TCP port, and the UDP port of the same number, while it is started.
/// @{

/// A new service, not started.
/// @return to be freed with `vorn_stub_free`; never null.
VORN_API Vorn_inst* vorn_stub_alloc(on_vorn_stub_connect_ft* _on_connect_, on_vorn_stub_disconnect_ft* _on_disconnect_);
/// Stops the service, if it is started, and frees it. Its methods must be gone before. Null: nothing.
VORN_API void vorn_stub_free(Vorn_inst* _object_);
/// Opens the port and publishes the name.
/// @param _object_ the service.
/// @param _name_ at most 20 characters; null for a service that is reached by its address only.
/// @param _port_ in: the port wanted, 0 for any. Out: the port opened. Not null.
/// @return 0; `vorn_err_already_created`; `vorn_err_not_initialize`; `vorn_err_already_used_name`, also for a
///         name that a stopped service of this process had; `vorn_err_already_used_addr`; or a positive
///         `errno`, for instance EADDRINUSE when another program has the port.
VORN_API Vorn_error vorn_stub_start(Vorn_inst* _object_, const char* _name_, Vorn_port* _port_);
/// Closes the port. Connections stay up, and their clients learn with their next request that the service is
/// gone. No callback follows. In a callback the stop is for good: the service counts as stopped, but its port
/// stays open until it is freed.
/// @return 0, or `vorn_err_is_not_created`.
VORN_API Vorn_error vorn_stub_stop(Vorn_inst* _object_);
/// Whether the service is started.
VORN_API bool vorn_stub_is_started(Vorn_inst* _object_);

/// @}
/// @name Call service
/// A request with a payload, and exactly one answer with a payload.
/// @{

/// A new call of a service.
/// @param _code its code.
/// @param _max_return_size capacity of an answer in bytes; 0: answers carry no payload.
/// @param _object_ the Stub.
/// @param _on_call_ answers a call.
/// @param _on_call_cancel_ is told that one was given up.
/// @return to be freed with `vorn_stub_call_free`; never null.
VORN_API Vorn_inst* vorn_stub_call_alloc(Vorn_code _code, Vorn_pksize _max_return_size, Vorn_inst* _object_,
                                         on_vorn_stub_call_ft* _on_call_,
                                         on_vorn_stub_call_cancel_ft* _on_call_cancel_);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_call_free(Vorn_inst* _call_);

/// @}
/// @name Signal service
/// A notice with a payload, whose arrival is confirmed. A service in C confirms every signal.
/// @{

/// A new signal of the Stub `_object`, under `_code`.
/// @return to be freed with `vorn_stub_signal_free`; never null.
VORN_API Vorn_inst* vorn_stub_signal_alloc(Vorn_code _code, Vorn_inst* _object, on_vorn_stub_signal_ft* _on_signal_,
                                           on_vorn_stub_signal_cancel_ft* _on_signal_cancel_);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_signal_free(Vorn_inst* _signal_);

/// @}
/// @name Event publisher
/// A message to every linked client at the moment the service asks for it; not answered, not kept.
/// @{

/// A new event of the Stub `_object`, under `_code`.
/// @return to be freed with `vorn_stub_event_free`; never null.
VORN_API Vorn_inst* vorn_stub_event_alloc(Vorn_code _code, Vorn_inst* _object,
                                          on_vorn_stub_event_link_ft* _on_event_link_,
                                          on_vorn_stub_event_unlink_ft* _on_event_unlink_);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_event_free(Vorn_inst* _event_);
/// Ends the link of one client, which is told of it. Nothing happens when it has none.
VORN_API void vorn_stub_event_unlink(Vorn_inst* _event_, Vorn_addr _proxy_addr);
/// Ends the links of all clients, which are told of it.
VORN_API void vorn_stub_event_unlink_all_proxy(Vorn_inst* _event_);
/// Sends an event to every linked client. A send that fails for one client is not reported.
/// @param _event_ the method.
/// @param _buffer_ the payload; copied.
/// @param _size its bytes; 0 is an event without payload, whatever the buffer.
/// @return 0, also when nobody is linked; `vorn_err_is_not_created`; `vorn_err_empty_vorn_memory`.
VORN_API Vorn_error vorn_stub_event_event(Vorn_inst* _event_, const void* _buffer_, Vorn_pksize _size);
/// Sends an event without payload. Results as those of `vorn_stub_event_event`.
VORN_API Vorn_error vorn_stub_event_event_nodata(Vorn_inst* _event_);

/// @}
/// @name Information publisher
/// A value that the service publishes: it goes to every linked client at each `post`. It is written in place,
/// `get` a block, fill it, `post` it, or in one step with `write`. One writer at a time: a `get` on another
/// thread waits until the writer has called `post` or `cancel`, and these must come on the writer's own
/// thread; a second `get` there waits for ever.
/// @{

/// A new information of the Stub `_object`, under `_code`.
/// @return to be freed with `vorn_stub_information_free`; never null.
VORN_API Vorn_inst* vorn_stub_information_alloc(Vorn_code _code, Vorn_inst* _object,
                                                on_vorn_stub_information_link_ft* _on_information_link_,
                                                on_vorn_stub_information_unlink_ft* _on_information_unlink_);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_information_free(Vorn_inst* _information_);
/// Ends the link of one client, which is told of it. Nothing happens when it has none.
VORN_API void vorn_stub_information_unlink(Vorn_inst* _information_, Vorn_addr _proxy_addr);
/// Ends the links of all clients, which are told of it.
VORN_API void vorn_stub_information_unlink_all_proxy(Vorn_inst* _information_);
/// A block of `_size` bytes to write the next value into; the runtime's until `post` or `cancel`.
/// @return null when the service is not started, or was stopped while another writer was waited for.
VORN_API void* vorn_stub_information_get(Vorn_inst* _information_, Vorn_pksize _size);
/// Gives the block back unpublished. Without a block: nothing.
VORN_API void vorn_stub_information_cancel(Vorn_inst* _information_);
/// Publishes the block.
/// @param _information_ the method.
/// @param _size bytes of the value, at most what `get` was asked for.
/// @return 0, also when a client could not be sent to; `vorn_err_is_not_created`; `vorn_err_dont_get` (no block);
///         `vorn_err_too_big_size` and `vorn_err_durty_memory`, after which the block is still there.
VORN_API Vorn_error vorn_stub_information_post(Vorn_inst* _information_, Vorn_pksize _size);
/// `get`, copy, `post`.
/// @return as `vorn_stub_information_post`; `vorn_err_empty_vorn_memory` when the service was stopped while another
///         writer was waited for.
VORN_API Vorn_error vorn_stub_information_write(Vorn_inst* _information_, const void* _data_, Vorn_pksize _size);
/// A snapshot of the newest values that went out, at most `_size`; null when the service is not started.
/// There is no function in C to read or to free it, and what it holds is never given back: use
/// `vorn_stub_information_read`.
VORN_API Vorn_letter_case* vorn_stub_information_see_history(Vorn_inst* _information_, size_t _size);
/// The most values that the history keeps, 1 at first. It shrinks when the next value goes out.
VORN_API void vorn_stub_information_set_history_size(Vorn_inst* _information_, size_t _history_size);
/// Copies the newest value that went out.
/// @param _information_ the method.
/// @param _data_ the buffer.
/// @param _size_ in: its bytes. Out: the bytes of the value if these are fewer; a larger value is cut.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history`.
VORN_API Vorn_error vorn_stub_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Command service
/// A value that each linked client writes to the service, with a history for each client. A history ends with
/// its client's link.
/// @{

/// A new command of the Stub `_object`, under `_code`.
/// @return to be freed with `vorn_stub_command_free`; never null.
VORN_API Vorn_inst* vorn_stub_command_alloc(Vorn_code _code, Vorn_inst* _object,
                                            on_vorn_stub_command_sync_ft* _on_command_sync_,
                                            on_vorn_stub_command_link_ft* _on_command_link_,
                                            on_vorn_stub_command_unlink_ft* _on_command_unlink_);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_command_free(Vorn_inst* _command_);
/// Ends the link of one client, which is told of it. Nothing happens when it has none.
VORN_API void vorn_stub_command_unlink(Vorn_inst* _command_, Vorn_addr _proxy_addr);
/// Ends the links of all clients, which are told of it.
VORN_API void vorn_stub_command_unlink_all_proxy(Vorn_inst* _command_);
/// Whether the sync callback is called, as it is at first. The histories are kept in any case.
VORN_API void vorn_stub_command_set_sync(Vorn_inst* _command_, bool _use_on_sync);
/// A snapshot of a client's newest values, at most `_size`; null when the service is not started. There is no
/// function in C to read or to free it, and what it holds is never given back: use `vorn_stub_command_read`.
VORN_API Vorn_letter_case* vorn_stub_command_see_history(Vorn_inst* _command_, Vorn_addr _proxy_addr, size_t _size);
/// The most values that the history of each client keeps, 1 at first. It shrinks with that client's next
/// value.
VORN_API void vorn_stub_command_set_history_size(Vorn_inst* _command_, size_t _history_size);
/// Copies a client's newest value.
/// @param _command_ the method.
/// @param _proxy_addr the client.
/// @param _data_ the buffer.
/// @param _size_ in: its bytes. Out: the bytes of the value if these are fewer; a larger value is cut.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history` (no value yet, or no link).
VORN_API Vorn_error vorn_stub_command_read(Vorn_inst* _command_, Vorn_addr _proxy_addr, void* _data_,
                                           Vorn_pksize* _size_);

/// @}
/// @name Datagram sender
/// One UDP message, with no link, no answer and no ordering; it may be lost. It goes to the port number of
/// the Stub, where a started Proxy of this Stub listens.
/// @{

/// A new kind of datagram of the Stub `_object`, under `_code`.
/// @return to be freed with `vorn_stub_datagram_free`; never null.
VORN_API Vorn_inst* vorn_stub_datagram_alloc(Vorn_code _code, Vorn_inst* _object);
/// Stops the whole Stub and frees the method. Null: nothing.
VORN_API void vorn_stub_datagram_free(Vorn_inst* _datagram_);
/// Sends to every host of the subnet, this one included. Results as those of `vorn_stub_datagram_cast`.
VORN_API Vorn_error vorn_stub_datagram_broadcast(Vorn_inst* _datagram_, const void* _data_, Vorn_pksize _size);
/// Sends to one host.
/// @param _datagram_ the method.
/// @param _ip the host.
/// @param _data_ the payload; copied.
/// @param _size its bytes, at most 65000; with 0 the data is not looked at.
/// @return 0, also when it could not leave; `vorn_err_is_not_created`; `vorn_err_too_big_size`;
///         `vorn_err_empty_vorn_memory`.
VORN_API Vorn_error vorn_stub_datagram_cast(Vorn_inst* _datagram_, Vorn_ip _ip, const void* _data_, Vorn_pksize _size);

/// @}
/// @name Proxy
/// A client of one remote Stub. Its connection comes up in the background, and comes back by itself whenever
/// it was lost, trying once a second.
/// @{

/// A new client, not started.
/// @return to be freed with `vorn_proxy_free`; never null.
VORN_API Vorn_inst* vorn_proxy_alloc(on_vorn_proxy_connect_ft* _on_connect_,
                                     on_vorn_proxy_disconnect_ft* _on_disconnect_);
/// Stops the client, if it is started, and frees it. Its methods must be gone before. Null: nothing.
VORN_API void vorn_proxy_free(Vorn_inst* _object_);
/// Begins to connect. One process has at most one started Proxy for an address.
/// @return 0, also when nobody listens there yet; `vorn_err_not_initialize`; `vorn_err_already_created`;
///         `vorn_err_already_used_addr`; or a positive `errno`.
VORN_API Vorn_error vorn_proxy_start(Vorn_inst* _object_, Vorn_addr _stub_addr);
/// Lets what is queued go out and closes the connection. No callback follows. In a callback the stop is for
/// good: the client counts as stopped, but its address stays in use in this process until it is freed.
/// @return 0, or `vorn_err_is_not_created`.
VORN_API Vorn_error vorn_proxy_stop(Vorn_inst* _object_);
/// Whether the connection is up.
VORN_API bool vorn_proxy_is_connected(Vorn_inst* _object_);
/// Whether the client is started.
VORN_API bool vorn_proxy_is_started(Vorn_inst* _object_);
/// Both ends of the connection. Neither pointer may be null.
/// @param _object_ the client.
/// @param _proxy_addr_ receives 127.0.0.1 with our port, as the service knows it.
/// @param _stub_addr_ receives the address of the service.
/// @return 0, or `vorn_err_object_is_not_exist` with nothing written while there is no connection.
VORN_API Vorn_error vorn_proxy_get_address(Vorn_inst* _object_, Vorn_addr* _proxy_addr_, Vorn_addr* _stub_addr_);

/// @}
/// @name Call client
/// Calls one operation of a remote Stub. Several calls may be outstanding at once.
/// @{

/// A new client of the call `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_call_free`; never null.
VORN_API Vorn_inst* vorn_proxy_call_alloc(Vorn_code _code, Vorn_inst* _object_,
                                          on_vorn_proxy_call_return_ft* _on_return_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_call_free(Vorn_inst* _call_);
/// Calls, and returns at once; the answer comes to the callback. If it never comes, the callback is not
/// called; a lost connection does not call it either.
/// @param _call_ the method.
/// @param _seq_ receives the number that the callback will name, before the request is sent; 0 if it failed
///        before it had one. Not null.
/// @param _call_data_ the payload; copied.
/// @param _call_size its bytes.
/// @param _limit_time seconds; the largest double is no limit.
/// @return 0; `vorn_err_is_not_created`; `vorn_err_object_is_not_exist` (not connected);
///         `vorn_err_empty_vorn_memory`; `vorn_err_busy_localhost`.
VORN_API Vorn_error vorn_proxy_call_delegate_call(Vorn_inst* _call_, Vorn_seq* _seq_, const void* _call_data_,
                                                  Vorn_pksize _call_size, double _limit_time);
/// Calls, and returns a promise for `vorn_proxy_call_await_return`; never null. Failures are those of
/// `vorn_proxy_call_delegate_call` and come out of the wait. The limit is that of the wait, too; one that is
/// so large that no system clock can name its end ends the wait at once.
VORN_API Vorn_promise* vorn_proxy_call_async_call(Vorn_inst* _call_, const void* _call_data_, Vorn_pksize _call_size,
                                                  double _limit_time);
/// Blocks until the answer, a lost connection or the limit, and frees the promise.
/// @param _call_ the method.
/// @param _promise_ of `vorn_proxy_call_async_call`.
/// @param _return_data_ receives the answer; may be null if none is due.
/// @param _size_ in: bytes of the buffer. Out: bytes of the answer, also when it did not fit. May be null if none is
///        due.
/// @param _time_ if not null: seconds since the call.
/// @return the result of the service; `vorn_err_boundout_buffer` for an answer that does not fit, which is gone then;
///         `vorn_err_local_timeout`; `vorn_err_disconnected_tcp`; `vorn_err_is_not_created`;
///         `vorn_err_null_return_object`; or the failure of the call.
VORN_API Vorn_error vorn_proxy_call_await_return(Vorn_inst* _call_, Vorn_promise* _promise_, void* _return_data_,
                                                 Vorn_pksize* _size_, double* _time_);
/// Asks the service to give up what it does for this code; ends no wait here.
VORN_API void vorn_proxy_call_cancel(Vorn_inst* _call_, Vorn_error _error);

/// @}
/// @name Signal client
/// Sends a notice to a remote Stub and learns that it arrived.
/// @{

/// A new client of the signal `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_signal_free`; never null.
VORN_API Vorn_inst* vorn_proxy_signal_alloc(Vorn_code _code, Vorn_inst* _object_,
                                            on_vorn_proxy_signal_return_ft* _on_return_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_signal_free(Vorn_inst* _signal_);
/// Sends, and returns at once. Arguments and results as those of `vorn_proxy_call_delegate_call`.
VORN_API Vorn_error vorn_proxy_signal_delegate_signal(Vorn_inst* _signal_, Vorn_seq* _seq_, const void* _sig_data_,
                                                      Vorn_pksize _sig_size, double _limit_time);
/// Sends, and returns a promise for `vorn_proxy_signal_await_return`; never null. Failures come out of the
/// wait.
VORN_API Vorn_promise* vorn_proxy_signal_async_signal(Vorn_inst* _signal_, const void* _signal_data_,
                                                      Vorn_pksize _call_size, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, and frees the promise.
/// @param _signal_ the method.
/// @param _ret_promise of `vorn_proxy_signal_async_signal`.
/// @param _time_ if not null: seconds since the signal.
/// @return as `vorn_proxy_call_await_return`, but for the size.
VORN_API Vorn_error vorn_proxy_signal_await_return(Vorn_inst* _signal_, Vorn_promise* _ret_promise, double* _time_);
/// `vorn_proxy_signal_async_signal`, directly followed by `vorn_proxy_signal_await_return`.
VORN_API Vorn_error vorn_proxy_signal_signal(Vorn_inst* _signal_, const void* _signal_data_,
                                             const Vorn_pksize _signal_size, double _limit_time, double* _time_);
/// Asks the service to give up what it does for this code; ends no wait here.
VORN_API void vorn_proxy_signal_cancel(Vorn_inst* _signal_, Vorn_error _error);

/// @}
/// @name Event subscriber
/// A link to the events of a remote Stub. It is asked for once the connection is up, ends with the
/// connection, and does not come back by itself.
/// @{

/// A new client of the event `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_event_free`; never null.
VORN_API Vorn_inst* vorn_proxy_event_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_event_link_ft* _on_link_,
                                           on_vorn_proxy_event_unlink_ft* _on_unlink_,
                                           on_vorn_proxy_event_ft* _on_event_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_event_free(Vorn_inst* _event_);
/// Whether the link stands.
VORN_API bool vorn_proxy_event_is_linked(Vorn_inst* _event_);
/// Asks for the link, and returns at once; the answer comes to the link callback.
/// @param _event_ the method.
/// @param _msg_num_ receives the number that the callback will name, before the request is sent. Not null.
/// @param _limit_time seconds.
/// @return as `vorn_proxy_call_delegate_call`; `vorn_err_already_connected` when the link stands.
VORN_API Vorn_error vorn_proxy_event_delegate_link(Vorn_inst* _event_, Vorn_msg_num* _msg_num_, double _limit_time);
/// Asks for the link, and returns a promise for `vorn_proxy_event_await_link_return`; never null. Failures
/// come out of the wait.
VORN_API Vorn_promise* vorn_proxy_event_async_link(Vorn_inst* _event_, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, and frees the promise.
/// @param _event_ the method.
/// @param _promise_ of `vorn_proxy_event_async_link`.
/// @param _time_ if not null: seconds since the request.
/// @return 0: the link stands. Otherwise as `vorn_proxy_call_await_return`, but for the size.
VORN_API Vorn_error vorn_proxy_event_await_link_return(Vorn_inst* _event_, Vorn_promise* _promise_, double* _time_);
/// Ends the link. Events that are still under way are dropped. Nothing happens when there is none.
VORN_API void vorn_proxy_event_unlink(Vorn_inst* _event_);

/// @}
/// @name Information subscriber
/// Follows a value of a remote Stub over a link, by TCP or by multicast, and keeps the latest values.
/// @{

/// A new client of the information `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_information_free`; never null.
VORN_API Vorn_inst* vorn_proxy_information_alloc(Vorn_code _code, Vorn_inst* _object_,
                                                 on_vorn_proxy_information_link_ft* _on_link_,
                                                 on_vorn_proxy_information_unlink_ft* _on_unlink_,
                                                 on_vorn_proxy_information_sync_ft* _on_sync_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_information_free(Vorn_inst* _information_);
/// Whether the link stands.
VORN_API bool vorn_proxy_information_is_linked(Vorn_inst* _information_);
/// Asks for the link, and returns at once; the answer comes to the link callback.
///
/// The last argument is no limit: it chooses the transport. The limit is always one second.
/// @param _information_ the method.
/// @param _msg_num_ receives the number that the callback will name, before the request is sent. Not null.
/// @param _limit_time 0.0: by multicast. Any other number: by TCP.
/// @return as `vorn_proxy_event_delegate_link`.
VORN_API Vorn_error vorn_proxy_information_delegate_link(Vorn_inst* _information_, Vorn_msg_num* _msg_num_,
                                                         double _limit_time);
/// Asks for the link, and returns a promise for `vorn_proxy_information_await_link_return`; never null.
/// Failures come out of the wait.
/// @param _information_ the method.
/// @param _reliability true: by TCP. False: by multicast.
/// @param _limit_time seconds.
VORN_API Vorn_promise* vorn_proxy_information_async_link(Vorn_inst* _information_, bool _reliability,
                                                         double _limit_time);
/// Blocks until the answer, a lost connection or the limit, and frees the promise. Arguments and results as
/// those of `vorn_proxy_event_await_link_return`.
VORN_API Vorn_error vorn_proxy_information_await_link_return(Vorn_inst* _information_, Vorn_promise* _promise_,
                                                             double* _time_);
/// Ends the link and empties the history.
VORN_API void vorn_proxy_information_unlink(Vorn_inst* _information_);
/// Whether the sync callback is called, as it is at first. The history is kept in any case.
VORN_API void vorn_proxy_information_set_sync(Vorn_inst* _information_, bool _use_on_sync);
/// A snapshot of the newest values, at most `_size`; null when there is no link. There is no function in C to
/// read or to free it, and what it holds is never given back: use `vorn_proxy_information_read`.
VORN_API Vorn_letter_case* vorn_proxy_information_see_history(Vorn_inst* _information_, size_t _size);
/// The most values that the history keeps, 1 at first. It shrinks with the next value.
VORN_API void vorn_proxy_information_set_history_size(Vorn_inst* _information_, size_t _history_size);
/// Copies the newest value.
/// @param _information_ the method.
/// @param _data_ the buffer.
/// @param _size_ in: its bytes. Out: the bytes of the value if these are fewer; a larger value is cut.
/// @return 0, `vorn_err_is_not_created`, `vorn_err_empty_history` (no value yet, or no link).
VORN_API Vorn_error vorn_proxy_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Command client
/// Writes a value to a remote Stub over a link, at each `post` or at a fixed rate. Values that went out are
/// kept in a history, which outlives a link and a connection. `get`, `post` and `cancel` are used as those of
/// an information publisher. A value that is posted while no link stands becomes the current one and is not
/// sent.
/// @{

/// A new client of the command `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_command_free`; never null.
VORN_API Vorn_inst* vorn_proxy_command_alloc(Vorn_code _code, Vorn_inst* _object_,
                                             on_vorn_proxy_command_link_ft* _on_link_,
                                             on_vorn_proxy_command_unlink_ft* _on_unlink_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_command_free(Vorn_inst* _command_);
/// Whether the link stands.
VORN_API bool vorn_proxy_command_is_linked(Vorn_inst* _command_);
/// Asks for the link, and returns at once; the answer comes to the link callback. Arguments and results as
/// those of `vorn_proxy_event_delegate_link`.
VORN_API Vorn_error vorn_proxy_command_delegate_link(Vorn_inst* _command_, Vorn_msg_num* _msg_num_, double _limit_time);
/// Asks for the link, and returns a promise for `vorn_proxy_command_await_link_return`; never null. Failures
/// come out of the wait.
VORN_API Vorn_promise* vorn_proxy_command_async_link(Vorn_inst* _command_, double _limit_time);
/// Blocks until the answer, a lost connection or the limit, and frees the promise. Arguments and results as
/// those of `vorn_proxy_event_await_link_return`.
VORN_API Vorn_error vorn_proxy_command_await_link_return(Vorn_inst* _command_, Vorn_promise* _promise_, double* _time_);
/// Ends the link.
VORN_API void vorn_proxy_command_unlink(Vorn_inst* _command_);
/// Chooses how values are handed out.
/// @param _command_ the method.
/// @param _reliability true, as it is at first: no value is dropped. False: a value is dropped while the connection is
///        behind.
/// @param _sync_model `vorn_on_post`, as it is at first, or `vorn_on_timer`.
/// @param _interval for `vorn_on_timer`: seconds between two sends of the current value, above 0.
VORN_API void vorn_proxy_command_set_sync_model(Vorn_inst* _command_, bool _reliability, Vorn_sync_model _sync_model,
                                                double _interval);
/// A block of `_size` bytes to write the next value into; the runtime's until `post` or `cancel`.
/// @return null when the client is not started, or was stopped while another writer was waited for.
VORN_API void* vorn_proxy_command_get(Vorn_inst* _command_, Vorn_pksize _size);
/// Gives the block back unsent. Without a block: nothing.
VORN_API void vorn_proxy_command_cancel(Vorn_inst* _command_);
/// Makes the block the current value; in the model `vorn_on_post` it goes out, if the link stands.
/// @param _command_ the method.
/// @param _size bytes of the value, at most what `get` was asked for.
/// @return 0, whether or not the value could be sent; failures as those of `vorn_stub_information_post`.
VORN_API Vorn_error vorn_proxy_command_post(Vorn_inst* _command_, Vorn_pksize _size);
/// `get`, copy, `post`.
/// @return as `vorn_proxy_command_post`; `vorn_err_empty_vorn_memory` when the client was stopped while another writer
///         was waited for.
VORN_API Vorn_error vorn_proxy_command_write(Vorn_inst* _command_, const void* _data_, Vorn_pksize _size);
/// A snapshot of the newest values that were sent, at most `_size`; never null. There is no function in C to
/// read or to free it, and what it holds is never given back: use `vorn_proxy_command_read`.
VORN_API Vorn_letter_case* vorn_proxy_command_see_history(Vorn_inst* _command_, size_t _size);
/// The most values that the history keeps, 1 at first. It shrinks with the next value.
VORN_API void vorn_proxy_command_set_history_size(Vorn_inst* _command_, size_t _history_size);
/// Copies the newest value that was sent. Arguments and results as those of `vorn_proxy_information_read`.
VORN_API Vorn_error vorn_proxy_command_read(Vorn_inst* _command_, void* _data_, Vorn_pksize* _size_);

/// @}
/// @name Datagram receiver
/// Receives the datagrams of a remote Stub as long as its Proxy is started, connected or not.
/// @{

/// A new receiver of the datagram `_code`, on the Proxy `_object_`.
/// @return to be freed with `vorn_proxy_datagram_free`; never null.
VORN_API Vorn_inst* vorn_proxy_datagram_alloc(Vorn_code _code, Vorn_inst* _object_,
                                              on_vorn_proxy_datagram_cast_ft* _on_datagram_);
/// Stops the whole Proxy and frees the method. Null: nothing.
VORN_API void vorn_proxy_datagram_free(Vorn_inst* _datagram_);

/// @}
/// @name Runtime and utilities
/// @{

/// Name of a result, for instance "VORN_ERR_BUSY_"; "VORN_ERR_UNKNOWN_" for any other number. The text is
/// static.
VORN_API const char* vorn_get_err_str(Vorn_error _err);
/// Finds a service by its name among those that were heard in the last eight seconds.
/// @param _name_ the name. Not null.
/// @param _stub_addr_ receives the address when found, and is left alone otherwise. Not null.
/// @return number of addresses found: 0 or 1.
VORN_API size_t vorn_get_address(const char* _name_, Vorn_addr* _stub_addr_);
/// Address of a text such as "198.51.100.1", as the C library's function `inet_addr` gives it.
VORN_API Vorn_ip vorn_inet_addr(const char* _ip_);
/// Text of an address, in the buffer of the C library's `inet_ntoa`: valid until the next call on the same
/// thread.
VORN_API char* vorn_inet_ntoa(Vorn_ip _ip);

/// Brings the runtime up: 8 listener threads, 1 timer and 5 network threads. Must come first and once; may be
/// called again after `vorn_finalize`.
///
/// Settings come from the file "../Config/vorn.ini", relative to the working directory; without it the
/// defaults hold. A file that lacks one of the keys ends a C program: it raises a C++ exception, which only
/// C++ can catch.
/// @return 0, or `vorn_err_already_created`. Failures of the network are not reported.
VORN_API Vorn_error vorn_initialize_default(void);
/// The same with a number of listener threads of your own.
/// @param _thread_count listener threads, which run the callbacks; 0 for none.
/// @param _call_buffer_count kept, and changes no limit.
/// @param _udp_buffer_count ignored.
/// @return as `vorn_initialize_default`.
VORN_API Vorn_error vorn_initialize(size_t _thread_count, size_t _call_buffer_count, size_t _udp_buffer_count);
/// Takes the runtime down: ends and joins all its threads, and waits for callbacks that run. Never call it
/// from a callback. Objects that are still started are not started any more afterwards; they may be freed
/// later.
/// @return 0.
VORN_API Vorn_error vorn_finalize(void);

/// Messages under `_a` and `_b` together run one at a time. Set groups up before there is traffic, one new
/// key at a time. Without the runtime: nothing.
VORN_API void vorn_msg_processing_by_serial_group(Vorn_msg_addr _a, Vorn_msg_addr _b);
/// Messages under `_a` run one at a time. A Stub declares so each of its calls, signals, events, commands and
/// informations when it starts; what is said afterwards holds from then on.
VORN_API void vorn_msg_processing_by_serial_alone(Vorn_msg_addr _a);
/// Messages under `_a` run at once, side by side.
VORN_API void vorn_msg_processing_by_parallel(Vorn_msg_addr _a);

/// @}

#ifdef __cplusplus
}
#endif

#endif
