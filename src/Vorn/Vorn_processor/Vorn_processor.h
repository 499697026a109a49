/// @file
/// The processor: the pipe that received messages pass through, the listener threads that drain it, dispatch to objects,
/// the return table, the ordering of messages, the tables of objects and the directory of names.
///
/// lock_order.h defines the order of the locks; object_lock.h has the ways to hold `mutex_01`.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include "Kestrane/Nonshared_pipe.h"
#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/Vorn_processor/heard_processes.h"
#include "Vorn/Vorn_processor/returns.h"
#include "Vorn/Vorn_processor/thread_qbuffer.h"
#include "Vorn/mutex.h"
#include "Vorn35/vorn_utility.h"

namespace Vorn35 {

class Stub;
class Proxy;

/// A name heard of, and how many more beats it lives.
struct Remote_stub_info {
    int ttl = 0;
    Addr stub_addr;
    ks_clock_t known_since;
    ks_clock_t heard;
    Addr previous_addr;
    ks_clock_t changed;    ///< When `stub_addr` replaced `previous_addr`.
    ks_clock_t contested;  ///< The last change that came soon after another one: two processes take turns.

    /// @return whether the address was not known for this name.
    bool hear(Addr _stub_addr, ks_clock_t _now);
};

using Local_stubes = std::map<Port, Stub*>;
using Remote_stubes = std::map<Addr, Proxy*>;
using Named_local_stubes = std::map<std::string, Port>;
using Named_remote_stubes = std::map<std::string, Remote_stub_info>;

/// There is exactly one, from `initialize` to `finalize`.
class Vorn_processor : public Kestrane::Nonshared_pipe<Token> {
public:
    /// The runtime's, not the pipe's own enumeration.
    using Error = Vorn35::Error;

    /// Guards the object tables, the qbuffer map and `gp_processor`. Outlives the processor, so that an
    /// object can find out that there is none.
    static Shared_mutex<lock_order::processor> mutex_01;

    // Guarded by `mutex_01`.
    Heard_processes heard;                  ///< Processes without names.
    Named_local_stubes named_local_stubes;  ///< Only grows.
    Named_remote_stubes named_remote_stubes;
    Local_stubes local_stubes;    ///< Services, by their port.
    Remote_stubes remote_stubes;  ///< Clients, by the address of their server.
    std::shared_mutex mutex_02;   ///< Nothing takes it.

    /// Guards `timer_` and the timer's sleep. A leaf.
    Mutex<lock_order::timer> timer_mutex;
    std::condition_variable timer_wake;
    std::unique_ptr<std::thread> timer_ VORN35_GUARDED_BY(timer_mutex);  ///< Null asks the timer thread to stop.
    /// When the timer tells the names ahead of its beat.
    ks_clock_t directory_due VORN35_GUARDED_BY(timer_mutex) = ks_clock_t::max();
    /// When it last did so for a process that was heard.
    ks_clock_t directory_answered VORN35_GUARDED_BY(timer_mutex){};

    qbuffer_map_t qbuffer_map;  ///< Guarded by `mutex_01`.

    // Constant after construction.
    const std::size_t thread_count;
    std::vector<std::thread> thread__;          ///< The listeners.
    std::vector<std::thread::id> listener_ids;  ///< Their identities, which outlast their end.

    /// Lets one listener at a time take a message.
    Mutex<lock_order::serial> serial_lock;

    /// Guards `returns`, and the answer in each record of the table.
    Mutex<lock_order::returns> return_map_mutex;
    returns_t returns VORN35_GUARDED_BY(return_map_mutex);

    std::vector<Stub*> destroy_vect;         ///< Stubs stopped on a listener thread.
    std::vector<Proxy*> destroy_proxy_vect;  ///< The same for proxies.
    /// Guards both vectors. Taken last and alone.
    Mutex<lock_order::deferred> destroy_vect_mutex;

    /// Enters itself in `gp_processor`, then starts the listeners and the timer.
    /// @throws std::system_error when a thread cannot be had; those that were started have ended.
    Vorn_processor(std::size_t _thread_count, std::size_t _size);
    /// Stops the timer, the pipe and the listeners, waits for callbacks that run, and leaves `gp_processor`.
    ~Vorn_processor();
    Vorn_processor(const Vorn_processor&) = delete;
    Vorn_processor& operator=(const Vorn_processor&) = delete;

    // The pipe and its listeners.

    /// Puts a token into the pipe, and wakes a listener. "VORN_ERR_BUSY_" when more messages wait than its type allows: 1 for a
    /// value by datagram or a directory, 16 for others. Bounds of receive windows take the place of these
    /// (`Runtime_options::receive_messages`); notices may have none (`keep_notices`).
    Error apply_process(Token _token);
    /// Takes and processes one message. Not 0: the pipe is shut down.
    Error listener();
    /// The same for an application's own thread; `_timeout` is the length of one wait in seconds.
    Error listener(double _timeout);
    void thread_listener();
    /// True on one of the listener threads. `mutex_01`.
    bool is_listen_thread() const;

    // Dispatch and returns.

    /// Entered with `serial_lock` held; releases it. Wakes a listener for the next message once this one is queued under
    /// its key or about to run. Owns the token.
    Error listener_processor(Token _token) VORN35_RELEASE(serial_lock);
    /// Wakes the waiter of an answer, or all waiters on a lost server. Owns the token.
    Error return_processor(Token _token);
    /// Adds a waiter. A key that exists already keeps its record.
    void add_return(return_key_t _key, return_record_t* _record_);
    /// Waiters in the table.
    std::size_t outstanding();
    /// Removes a waiter. Afterwards no other thread touches its record.
    void del_return(return_key_t _key);
    /// Deliberately does nothing for objects whose stop was deferred.
    void destroy_object_waited();

    // Ordering of messages; `mutex_01` exclusive.

    void msg_processing_by_parallel(Msg_addr _a);
    void msg_processing_by_serial_alone(Msg_addr _a);
    void msg_processing_by_serial_group(Msg_addr _a, Msg_addr _b);
    /// Queues the message under its key, with a reference that the queue owns. Returns null if messages of the key run in
    /// parallel. `mutex_01` shared.
    std::shared_ptr<class_thread_qbuffer> qbuffering(Msg_addr _msg_addr, Token _token, Packet* _pkt_, void* _object_);

    // Objects; `mutex_01` exclusive.

    /// @param _name_ null for a stub that is not published.
    /// @param _port_ 0 asks for a port; the one chosen is written back.
    Error create_stub(const char* _name_, Port* _port_, Stub* _stub_);
    /// The name stays in use, and is still broadcast.
    void destroy_stub(Port _port);
    Error create_proxy(Addr _stub_addr, Proxy* _proxy_);
    void destroy_proxy(Addr _stub_addr);
    /// The object was stopped and is about to be destroyed: removes it from every table, queue and vector. Completes a
    /// deferred stop: removes the object from the tables under all its keys.
    void forget_stub(Stub* _stub);
    void forget_proxy(Proxy* _proxy);

    // The timer and the directory of names.

    void timer(double _interval);
    void stop_timer();
    /// `mutex_01` shared.
    std::size_t get_address(const char* _name_, Addr* _stub_addr_) const;
    /// `mutex_01` shared.
    std::vector<Known_name> known_names() const;
    void broadcast_local_stubes_info();
    /// Has the timer tell the names now, if `Runtime_options::tell_names_at_once`.
    /// @param _as_answer to a process that was heard: at most ten times a second.
    void tell_names_soon(bool _as_answer);
    void countdown_remote_stubes_info();
    /// Takes `mutex_01` exclusive itself.
    void recv_datagram_stubes_info(Token _token, Packet* _pkt_);

private:
    /// Built, and nothing started: from here on a constructor that fails is followed by the destructor.
    struct Idle {};
    Vorn_processor(Idle, std::size_t _thread_count, std::size_t _size);

    /// One turn of a listener: waits, takes a message under `serial_lock`, and processes it. Not analysed: clang does not
    /// support a guard that leaves its mutex locked.
    template <class Wait>
    Error listener_turn(Wait _wait) VORN35_NO_THREAD_SAFETY_ANALYSIS;
    void run_adapter(void* _object_, Token _token, bool _to_proxy);
    void drain(class_thread_qbuffer* _qbuffer);
    /// Drops a message whose limit has passed.
    static void expire(const Packet* _pkt);
    /// The message needs its receive window no more. Frees it.
    static void finish(Token _token);
    /// Completes the stops that callbacks of this thread have asked for (`Runtime_options::complete_stops`).
    void complete_stops();
    void return_unclaimed(Token _token);
    /// Drops the messages that are queued for the object, under all keys.
    void forget_queued(const void* _object);
    /// Whether the object was recorded for a deferred stop; takes it off the record.
    template <class Object>
    bool was_deferred(std::vector<Object*>* _deferred, const Object* _object);
};

/// The processor of the running process; null while there is none. Guarded by `Vorn_processor::mutex_01`; the
/// runtime's own threads, which live inside its life, read it freely.
extern Vorn_processor* gp_processor;

/// Every received message enters here. An answer to a plain request goes to its waiter (`return_processor`), everything else to
/// the pipe (`apply_process`), the loss of a server to both. On 0 the token is taken over.
Error send_sdk(Token _token, Packet* _pkt_);
/// `return_processor` on `gp_processor`.
Error awake_process(Token _token);

/// The last reason that this thread's `on_unlink` was given.
extern thread_local Error g_last_error;

}  // namespace Vorn35
