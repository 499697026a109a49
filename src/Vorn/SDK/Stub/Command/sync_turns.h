/// @file
/// The order of `on_sync` calls of one command, and the wait for them at the end of a link.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <thread>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// What the service keeps for a linked client. Its turns outlive the table entry: each holds a reference.
struct struct_cmd_obj_map_data {
    Value_queue history;  ///< Guarded by the `connections_mutex` of the command.
    bool ended = false;   ///< The link is over: no further `on_sync` begins. Guarded by the mutex of the turns.
};
using cmd_link_t = std::shared_ptr<struct_cmd_obj_map_data>;

/// Runs the `on_sync` calls of a command one at a time, in the order in which their values entered the histories.
///
///  1. A thread that adds a value takes the next turn under `connections_mutex`, and ends every turn that it took.
///  2. After `end` of a link, no turn of that link begins.
///  3. `wait` returns when the running turn, if it belongs to an ended link of that client, is over. On the thread of the
///     running turn it returns immediately.
///
/// No lock of the runtime is held while a turn is waited for or runs, so a stop passes, and application code may call every
/// operation. The turns are shared with the threads that wait: they outlive a member that is destroyed meanwhile.
class Sync_turns {
public:
    using turn_t = std::uint64_t;

    /// The caller holds `connections_mutex`.
    turn_t take();
    /// Waits until all earlier turns are over; no lock held.
    /// @return false: the link has ended. The turn is over then, too.
    bool begin(turn_t _turn, Addr _client, const cmd_link_t& _link);
    /// Ends the running turn.
    void end();

    /// The link is over. The caller holds `connections_mutex`.
    void end_link(const cmd_link_t& _link);
    /// Whether `wait` would wait.
    bool must_wait(const Addr* _client);
    /// No lock held.
    /// @param _client null: every client.
    void wait(const Addr* _client);

private:
    void pass() VORN35_REQUIRES(mutex);
    bool is_running(const Addr* _client) const VORN35_REQUIRES(mutex);

    /// Guards everything below, and `ended` of the links. A leaf.
    Mutex<lock_order::turns> mutex;
    std::condition_variable changed;
    turn_t taken VORN35_GUARDED_BY(mutex) = 0;    ///< Turns that were given out.
    turn_t current VORN35_GUARDED_BY(mutex) = 1;  ///< The turn that may begin, or runs.
    bool runs VORN35_GUARDED_BY(mutex) = false;
    Addr client VORN35_GUARDED_BY(mutex);               ///< Of the running turn.
    std::thread::id thread VORN35_GUARDED_BY(mutex){};  ///< That runs it.
};

}  // namespace Vorn35
