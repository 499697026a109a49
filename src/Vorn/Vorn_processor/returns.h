/// @file
/// The return table: who waits for which answer.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <tuple>

#include "Kestrane/_thread.h"
#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/mutex.h"

namespace Vorn35 {

/// One outstanding plain request.
struct struct_return_key {
    IP ip = 0;  ///< The server asked.
    Port port = 0;
    EMsg msg_type = EMsg::null;  ///< Type of the request.
    Msg_code msg_code = 0;
    Msg_num msg_num = 0;
    Error err = 0;  ///< Carried beside the key; no part of its order.

    struct_return_key() = default;
    explicit struct_return_key(Error _err) : err(_err) {}
    struct_return_key(Addr _server, EMsg _type, Msg_code _code, Msg_num _num)
        : ip(_server.ip), port(_server.port), msg_type(_type), msg_code(_code), msg_num(_num) {}

    friend bool operator<(const struct_return_key& _a, const struct_return_key& _b) {
        const auto order = [](const struct_return_key& _key) {
            return std::tie(_key.ip, _key.port, _key.msg_type, _key.msg_code, _key.msg_num);
        };
        return order(_a) < order(_b);
    }
};
using return_key_t = struct_return_key;

/// Shared by a waiter and the thread that wakes it. `return_map_mutex` guards `token`, and the change of `returned`, while the
/// record is in the table.
struct struct_return_record : std::enable_shared_from_this<struct_return_record> {
    Kestrane::Condition event;  ///< Signalled when the answer is in.
    /// The mutex of the waiter's wait. A leaf.
    Mutex<lock_order::event> event_mutex;
    Token token;         ///< The answer; owned once `returned` is set.
    ks_clock_t clock{};  ///< When the request was made.
    double limit = 0;    ///< Seconds allowed.
    std::atomic<bool> returned{false};
    bool is_exact = false;  ///< `Runtime_options::exact_waits` when the request was made.

    /// Wakes the waiter. An exact one may be between its check of `returned` and its sleep; the mutex waits for that.
    void notify() {
        if (is_exact) const Lock_guard lock(event_mutex);
        event.notify_one();
    }
};
using return_record_t = struct_return_record;

/// Owns no record: its `Promise` does.
using returns_t = std::map<struct_return_key, struct_return_record*>;

}  // namespace Vorn35
