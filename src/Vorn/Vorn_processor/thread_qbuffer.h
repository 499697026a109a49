/// @file
/// Queue of messages that run one at a time.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/counters.h"
#include "Vorn/mutex.h"
#include "Vorn/receive_window.h"

namespace Vorn35 {

/// A message and the object (`Stub` or `Proxy`) that was found for it at dispatch. The queue owns a reference
/// to the token's blocks.
struct struct_qtoken {
    void* object_;
    Token token;

    struct_qtoken(void* _object_, Token _token) : object_(_object_), token(_token) {}
};
using qtoken_t = struct_qtoken;

/// Frees a queued message that will not run, and counts it.
inline void drop_queued(qtoken_t* _queued) {
    counters::count(counters::By_kind::queue_dropped, _queued->token.get_header_packet()->get_msg_type());
    g_receive_windows.give_back(_queued->token);
    _queued->token.free();
}

/// The queue of one key, or of a group of keys. One thread at a time drains it. Other threads append their messages and
/// return to the pipe.
class class_thread_qbuffer : public std::deque<struct_qtoken> {
public:
    /// Guards the queue and `m_run`. Taken under `mutex_01`; never held while an adapter runs.
    Mutex<lock_order::qbuffer> m_lock;
    bool m_run VORN35_GUARDED_BY(m_lock) = false;  ///< Some thread is draining.
    std::int32_t m_ref = 1;                        ///< Keys that point here. Changed under `mutex_01` exclusive.
};

/// Messages of an absent key run in parallel. A draining thread keeps its queue alive if the key is removed meanwhile.
using qbuffer_map_t = std::map<Msg_addr, std::shared_ptr<class_thread_qbuffer>>;

}  // namespace Vorn35
