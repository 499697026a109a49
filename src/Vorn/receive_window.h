/// @file
/// Flow control: bounds for the received messages of each connection, kept by not reading it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/mutex.h"
#include "Vorn35/Statistics.h"

namespace Vorn35 {

struct struct_epoll_overlapped_tcp;

/// Messages from the pipe to the end of their handler, counted for each connection (`Runtime_options::receive_messages` and
/// `receive_bytes`) and for all datagrams together. Answers to plain requests bypass the pipe and are not counted.
///
/// The receive worker stops reading a connection that exceeds a bound, so TCP back-pressure holds the sender. What one read
/// brought beyond the bound is kept. It reads again when messages and bytes are both at most half of their bounds. Datagrams
/// beyond the bound are dropped. While a thread awaits an answer of a service, the connection to that service is read
/// regardless: otherwise callbacks that wait for each other could block all connections between two processes.
///
/// The end of a paused connection is seen only when it is read again.
///
/// A message carries the number of its window (`Packet::window`). Without bounds every number is 0, and nothing is counted.
class Receive_windows {
public:
    /// Of all datagrams.
    static constexpr std::uint32_t c_datagrams = 1;

    /// Before a life of the runtime: nothing is counted of the one before, whose last messages were not finished.
    void reset();
    /// A connection is established. @return the number of its window; 0 without bounds.
    /// @param _peer its service; no address on the service's side.
    std::uint32_t open(struct_epoll_overlapped_tcp* _record, Addr _peer);
    /// Before the record is retired: from here on nothing arms it.
    void close(std::uint32_t _window);

    /// Counts a message that is about to enter the pipe. False: a datagram beyond the bound.
    bool take(Token _token);
    /// The message is finished, or dropped. May arm the connection for reading again.
    void give_back(Token _token);

    /// On the receive worker. True: the connection is over its bounds, and must not be armed; `give_back` will do it.
    bool pause(std::uint32_t _window);
    bool is_paused(std::uint32_t _window);
    /// Fills in what waits for handlers, and whether the connection is paused.
    void describe(std::uint32_t _window, Connection_statistic* _connection_);

    /// A thread waits for an answer of this service.
    void begin_wait(Addr _peer);
    void end_wait(Addr _peer);

private:
    struct Window {
        struct_epoll_overlapped_tcp* record = nullptr;
        Addr peer;
        std::size_t messages = 0;
        std::size_t bytes = 0;
        bool paused = false;
    };

    static bool is_over(const Window& _window);
    void resume(Window* _window) VORN35_REQUIRES(mutex);

    /// Guards everything. A leaf; the record of an open window is alive under it.
    Mutex<lock_order::receive_windows> mutex;
    std::uint32_t last VORN35_GUARDED_BY(mutex) = c_datagrams;
    std::map<std::uint32_t, Window> windows VORN35_GUARDED_BY(mutex);
    std::map<Addr, unsigned> waits VORN35_GUARDED_BY(mutex);  ///< Threads that wait, by service.
};

/// Never destroyed: a process may end without `finalize`.
extern Receive_windows& g_receive_windows;

}  // namespace Vorn35
