/// @file
/// The order of the runtime's locks. This is the only place that defines it.
///
/// A thread may take a lock only if all locks that it holds have a lower level. So it never holds two locks of one level.
/// Builds with `VORN35_CHECK_LOCKS` abort a process that violates the order, and print where both locks were taken.
#pragma once

namespace Vorn35 {

/// A kind of lock and its place.
struct Lock_place {
    int level;         ///< Only the order counts.
    const char* name;  ///< As the mutex is called.
};

/// Outermost first. The comment at each mutex says what it guards.
namespace lock_order {

inline constexpr Lock_place life{20, "g_life_mutex"};
inline constexpr Lock_place model{30, "inf_timer_mutex"};  ///< Its holder waits for a tick that runs.
inline constexpr Lock_place serial{40, "serial_lock"};
inline constexpr Lock_place processor{50, "mutex_01"};

// An object's or member's own, and a queue of messages.
inline constexpr Lock_place mm{60, "inf_mm_mutex"};
inline constexpr Lock_place sync_mm{70, "inf_sync_mm_mutex"};
inline constexpr Lock_place links{80, "connections_mutex"};
inline constexpr Lock_place information{80, "information_mutex"};
inline constexpr Lock_place restoration{80, "restoration_mutex"};
inline constexpr Lock_place qbuffer{80, "m_lock"};

// The relay.
inline constexpr Lock_place client{90, "g_client_lock"};
inline constexpr Lock_place server{90, "g_establish_server_map_lock"};
inline constexpr Lock_place udp_refs{90, "g_udp_refs_mutex"};
inline constexpr Lock_place udp_map{100, "g_udp_map_lock"};
inline constexpr Lock_place send_queue{110, "send_queue_lock"};
inline constexpr Lock_place ack_wait_q{120, "ack_wait_q_lock"};
inline constexpr Lock_place ooo{120, "ooo"};

// Under these a block of memory may be given back, and no more.
inline constexpr Lock_place event{130, "event_mutex"};
inline constexpr Lock_place returns{130, "return_map_mutex"};
inline constexpr Lock_place deferred{130, "destroy_vect_mutex"};
inline constexpr Lock_place turns{130, "Sync_turns::mutex"};
inline constexpr Lock_place dispatches{130, "dispatches.cpp: g_mutex"};
inline constexpr Lock_place numbers{130, "seq_num_mutex"};
inline constexpr Lock_place repeats{130, "last_seq_num_mutex"};
inline constexpr Lock_place connection{130, "connection_mutex"};
inline constexpr Lock_place timer{130, "Vorn_processor::timer_mutex"};
inline constexpr Lock_place beat{130, "Beat::mutex"};
inline constexpr Lock_place ready_list{130, "Ready_list::lock"};
inline constexpr Lock_place receive_windows{130, "Receive_windows::mutex"};
inline constexpr Lock_place counters_file{130, "g_file_lock"};
inline constexpr Lock_place reap{130, "g_reap_lock"};

inline constexpr Lock_place memory{140, "Ref_memory::mtx"};

}  // namespace lock_order

}  // namespace Vorn35
