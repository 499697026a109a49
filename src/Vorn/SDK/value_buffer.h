/// @file
/// What the two members that publish a value share (information on the service side, command on the client side): a block
/// that one writer at a time fills, the current value, its history, and the timer.
#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <thread>

#include "Vorn/SDK/History/value_queue.h"
#include "Vorn/SDK/beat.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// Seconds that stand for no interval at all: as the limit of a value it encodes to the infinite
/// `Packet_time`, by which the receiver knows the model `on_post`.
inline constexpr double c_no_interval = 4294967295.0;

/// A writer takes a block with `get` and ends with `cancel` or a successful `post`. One block holds header and payload of
/// its value. After the post, the number in the header changes only under `inf_sync_mm_mutex`, and readers copy the
/// header under the same mutex.
///
/// The thread that calls `get` is the writer of the block. A stop takes the block away from its writer, which may still
/// be writing: the block stays allocated, and later calls of that thread do nothing, until it calls `get` again.
///
/// A kind decides the address and type of a value, its receivers, whether there is a receiver at all, and what `post`
/// reports. Both kinds share the fields under the names of the information's.
///
/// `inf_timer_mutex` comes before all other locks here, `mutex_01` included: its holder waits for a tick that runs.
class Value_buffer {
public:
    Value_buffer(const Value_buffer&) = delete;
    Value_buffer& operator=(const Value_buffer&) = delete;

    // Any thread; these take `mutex_01` shared.

    /// A block to write into; null when the object is not started or there is no memory. Waits, without `mutex_01`, while
    /// another writer has a block.
    void* get(Pksize _size);
    /// Frees the block. Does nothing without a block, or if a stop took the caller's block away.
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
    /// Frees the current value and the history, and takes the block away from a writer. The timer goes on. `mutex_01`
    /// exclusive.
    void release_values();

protected:
    Value_buffer() = default;
    ~Value_buffer();

    // `mutex_01` shared.

    /// The part of `post` before the sync.
    Error accept(Pksize _size);
    /// Sends the current value to its receivers and enters it into the history. The argument is not used.
    Error sync(Sync_model _sync_model);
    bool syncs_at_post() const { return sync_model == on_post; }

    /// Calls `_use` with the last value that was sent (0 if there is none) and the limit of its messages, while no value can
    /// be sent.
    template <class Use>
    void with_current_value(Use _use) {
        const Lock_guard lock(inf_sync_mm_mutex);
        const mm_t value_mm = history.newest();
        _use(value_mm, value_mm == 0 ? 0 : limit_of(value_mm));
    }

    /// Makes a message of a value for one receiver: the token, which has a header, shares the block.
    static void dress(Token* _token_, mm_t _value_mm, EMsg _type, IP _mct_if, double _limit);

    /// Ends the timer. A kind's destructor calls this first, because a tick uses the kind's operations.
    void end_timer();

private:
    // The kind's part; `mutex_01` shared.

    virtual bool owner_is_created() const = 0;
    /// Type, code and address of a value that is posted.
    virtual void address_value(Packet* _pkt, Pksize _size) = 0;
    virtual bool has_receiver() const { return true; }
    virtual Error send_value(mm_t _value_mm, double _limit) VORN35_REQUIRES(inf_sync_mm_mutex) = 0;

    /// One microsecond for each byte on top of the interval.
    double limit_of(mm_t _value_mm) const;
    /// Makes the timer follow `sync_model`: ends one that runs, and starts one for `on_timer`.
    void set_sync_model() VORN35_REQUIRES(inf_timer_mutex);
    /// One tick of the timer.
    void timer_information_syncros();
    /// `get`; copies `_data_` into the block if it is not null. Waits for another writer without the hold.
    void* take(Pksize _size, const void* _data_);

    std::atomic<double> interval{c_no_interval};  ///< Seconds between syncs of the timer.
    std::atomic<Sync_model> sync_model{on_post};
    std::atomic<std::size_t> history_size{1};

    /// Guards which block is written and by whom. The contents belong to the writer, which holds no lock.
    Mutex<lock_order::mm> inf_mm_mutex;
    std::condition_variable mm_free;  ///< No block is being written any more.
    mm_t inf_mm VORN35_GUARDED_BY(inf_mm_mutex) = 0;
    Pksize inf_size VORN35_GUARDED_BY(inf_mm_mutex) = 0;  ///< Bytes that `get` was asked for.
    std::thread::id writer VORN35_GUARDED_BY(inf_mm_mutex);
    /// Blocks that a stop took away, by their writer; 0 once the writer has ended its turn. Keeps the memory valid for a
    /// writer that still writes.
    std::map<std::thread::id, mm_t> lost_blocks VORN35_GUARDED_BY(inf_mm_mutex);

    /// Guards the current value, its number and the history. Held while a value is sent, so that values keep their order.
    Mutex<lock_order::sync_mm> inf_sync_mm_mutex;
    mm_t sync_mm VORN35_GUARDED_BY(inf_sync_mm_mutex) = 0;
    Msg_num num VORN35_GUARDED_BY(inf_sync_mm_mutex) = 0;
    Value_queue history VORN35_GUARDED_BY(inf_sync_mm_mutex);

    /// Makes a change of model and timer atomic. Outermost.
    Mutex<lock_order::model> inf_timer_mutex;
    std::unique_ptr<Beat> timer_ VORN35_GUARDED_BY(inf_timer_mutex);
};

}  // namespace Vorn35
