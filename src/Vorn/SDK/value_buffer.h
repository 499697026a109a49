/// @file
/// What the two members that publish a value share (information on the service side, command on the client
/// side): a block that one writer at a time fills, the value that is current, its history, and the timer.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>

#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/SDK/beat.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// Seconds that stand for no interval at all: as the limit of a value it encodes to the infinite
/// `Packet_time`, by which the receiver knows the model `on_post`.
inline constexpr double c_no_interval = 4294967295.0;

/// `get` leads from idle to writing, `cancel` and a successful `post` lead back. A block is header and
/// payload of its value in one; it is written to once it is posted only under `sync_mm_mutex` (its number),
/// and read by copy under the same mutex.
///
/// The kinds differ in the address and type of a value, in whom it goes to, in whether anybody is there to
/// get it, and in what `post` reports.
///
/// `timer_mutex` stands ahead of all other locks here, `mutex_01` included: its holder waits for a tick that runs.
class Value_buffer {
public:
    Value_buffer(const Value_buffer&) = delete;
    Value_buffer& operator=(const Value_buffer&) = delete;

    // Any thread; they take `mutex_01` shared themselves.

    /// A block to write into; null when it cannot be had. Waits while another writer has one, without
    /// `mutex_01`.
    void* get(Pksize _size);
    /// Gives the block back, if there is one.
    void cancel();
    /// Makes the block the current value.
    virtual Error post(Pksize _size) = 0;
    Error write(const void* _data_, Pksize _size);
    Error read(void* _data_, Pksize* _size_);
    /// Takes effect at once. Waits for a tick that runs.
    void set_sync_model(Sync_model _sync_model, double _interval);
    /// Takes effect at the next sync.
    void set_history_size(std::size_t _history_size) { history_size = _history_size; }

    /// The newest values; takes no lock but its own.
    Letter_case_ snapshot(std::size_t _size);
    /// Nothing of the values stays, and a writer loses its block. The timer goes on. `mutex_01` exclusive.
    void release_values();

protected:
    Value_buffer() = default;
    ~Value_buffer();

    // `mutex_01` shared.

    /// The part of `post` ahead of the sync.
    Error accept(Pksize _size);
    /// Hands the current value out, and enters it into the history.
    Error sync();
    bool syncs_at_post() const { return sync_model == on_post; }

    /// Makes a message of a value for one receiver: the token, which has a header, shares the block.
    static void dress(Token* _token_, mm_t _value_mm, EMsg _type, IP _mct_if, double _limit);

    /// A destructor's first act, as long as the kind's operations are still there: the timer ends.
    void end_timer();

private:
    // The kind's part; `mutex_01` shared.

    virtual bool owner_is_created() const = 0;
    /// Type, code and address of a value that is posted.
    virtual void address_value(Packet* _pkt, Pksize _size) = 0;
    virtual bool has_receiver() const { return true; }
    virtual Error send_value(mm_t _value_mm, double _limit) VORN35_REQUIRES(sync_mm_mutex) = 0;

    void tick();
    /// `get`, with the value in it already if there is one. Waits for another writer without the hold.
    void* take(Pksize _size, const void* _data_);

    std::atomic<double> interval{c_no_interval};  ///< Seconds between syncs of the timer.
    std::atomic<Sync_model> sync_model{on_post};
    std::atomic<std::size_t> history_size{1};

    /// Guards the block being written and its size. The block itself is the writer's, which holds no lock.
    Mutex<lock_order::mm> mm_mutex;
    std::condition_variable mm_free;  ///< No block is being written any more.
    mm_t mm VORN35_GUARDED_BY(mm_mutex) = 0;
    /// The block that a stop last took from its writer, who may still be writing.
    mm_t taken_away VORN35_GUARDED_BY(mm_mutex) = 0;
    Pksize size VORN35_GUARDED_BY(mm_mutex) = 0;

    /// Guards the current value, its number and the history. Held while a value goes out, so that values keep
    /// their order.
    Mutex<lock_order::sync_mm> sync_mm_mutex;
    mm_t sync_mm VORN35_GUARDED_BY(sync_mm_mutex) = 0;
    Msg_num num VORN35_GUARDED_BY(sync_mm_mutex) = 0;
    Value_queue history VORN35_GUARDED_BY(sync_mm_mutex);

    /// Makes a change of the model one. Outermost.
    Mutex<lock_order::model> timer_mutex;
    std::unique_ptr<Beat> timer_ VORN35_GUARDED_BY(timer_mutex);
};

}  // namespace Vorn35
