/// @file
/// The delegated requests of a client that wait for their answers.
#pragma once

#include <memory_resource>
#include <unordered_map>

#include "Vorn35/protobuf/Client.h"

namespace Vorn35::typed {

/// A request in the table: the kind of its member, its code, and its number on the wire. Calls of one member run one at a
/// time, so that 65,536 of one member, after which the number comes again, do not wait together.
using Request_key = std::uint64_t;
inline Request_key request_key(Transaction _kind, Msg_code _code, Msg_num _num) {
    return Request_key{_kind} << 32 | Request_key{_code} << 16 | _num;
}

/// Each request leaves the table exactly once: by its answer, its limit, a lost connection, a stop, or its cancellation. The
/// one who takes it out calls it back, with no lock held.
class Requests : public std::enable_shared_from_this<Requests> {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Requests(Client& _client) : client(&_client) {}
    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

    /// A number for a request that can be cancelled, never 0.
    std::uint32_t next_number();
    /// Sends a request by `_send(&num)`. The table's lock is held meanwhile, so that the answer finds its entry. A failure
    /// to send calls back here.
    /// @param _number of `next_number`.
    template <class Send>
    Request_handle begin(Transaction _kind, Msg_code _code, std::uint32_t _number, double _limit,
                         std::unique_ptr<Pending> _pending, Send _send);
    /// An answer. One that nothing waits for is dropped.
    void finish(Request_key _key, Error _error, Bytes _bytes);
    /// See `Request_handle::cancel`.
    bool cancel(Request_key _key, std::uint32_t _number);
    /// Calls back those whose limit has passed. Returns when the next one does.
    Time expire(Time _now);
    void connected();
    /// Calls back those that were sent before this loss.
    void disconnected();
    /// Calls back all.
    void fail_all(Error _error);
    /// The client ends.
    void forget_client();
    /// The timer to wake, or null. After null was set, the timer is not used any more.
    void set_timer(std::shared_ptr<Client_timer> _timer);

private:
    struct Entry {
        std::uint32_t number = 0;
        Time end;
        std::uint64_t connection = 0;  ///< Number of the connection that it was sent on.
        std::unique_ptr<Pending> pending;
    };
    using Entries = std::pmr::unordered_map<Request_key, Entry>;

    /// With `mutex`.
    std::unique_ptr<Pending> take(Entries::iterator _entry);
    template <class Condition>
    void fail(Error _error, Condition _condition);
    void wake_timer(Time _at);

    std::atomic<std::uint32_t> last_number{0};
    std::mutex mutex;  ///< Guards the rest. Before the locks of the runtime.
    Client* client;
    std::shared_ptr<Client_timer> timer;
    std::uint64_t connections = 0;
    std::uint64_t losses = 0;
    Time earliest = Time::max();  ///< No entry ends before it. An entry that leaves does not change it.
    std::pmr::unsynchronized_pool_resource memory;  ///< Of the entries, which come and go with every request.
    Entries entries{&memory};
};

template <class Send>
Request_handle Requests::begin(Transaction _kind, Msg_code _code, std::uint32_t _number, double _limit,
                               std::unique_ptr<Pending> _pending, Send _send) {
    constexpr double c_longest = 1e9;
    const Time end = std::chrono::steady_clock::now() + std::chrono::duration_cast<Time::duration>(
                                                            std::chrono::duration<double>(std::min(_limit, c_longest)));
    std::unique_ptr<Pending> older;
    Error error = VORN_ERR_NONE_;
    {
        const std::lock_guard lock(mutex);
        Msg_num num = 0;
        error = _send(&num);
        if (error == 0) {
            const Request_key key = request_key(_kind, _code, num);
            const auto [entry, is_new] = entries.try_emplace(key);
            if (is_new) {
                entry->second = Entry{_number, end, connections, std::move(_pending)};
                if (end < earliest) wake_timer(earliest = end);
                return {weak_from_this(), key, _number};
            }
            // No one can tell their answers apart.
            older = take(entry);
            error = VORN_ERR_BUSY_LOCALHOST_;
        }
    }
    _pending->finish(error, {});
    if (older) older->finish(error, {});
    return {};
}

}  // namespace Vorn35::typed
