/// @file
/// The delegated requests of a client that wait for their answers.
#pragma once

#include <map>
#include <set>
#include <unordered_map>

#include "Vorn35/protobuf/Client.h"

namespace Vorn35::typed {

/// Each request leaves the table exactly once: by its answer, its limit, a lost connection, a stop, or its cancellation. The
/// one who takes it out calls it back, with no lock held.
class Requests {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Requests(Client& _client) : client(&_client) {}
    Requests(const Requests&) = delete;
    Requests& operator=(const Requests&) = delete;

    /// A number for a request that can be cancelled, never 0.
    std::uint32_t next_number();
    /// Sends a request by `_send(&num)`. The table's lock is held meanwhile, so that the answer finds its entry. A failure
    /// to send calls back here.
    /// @param _code of a call that can be cancelled at the service; 0 for a signal.
    template <class Send>
    void begin(std::uint32_t _number, Msg_code _code, double _limit, std::unique_ptr<Pending> _pending, Send _send);
    /// An answer. One that nothing waits for is dropped.
    void finish(Msg_num _num, Error _error, Bytes _bytes);
    /// See `Request_handle::cancel`.
    bool cancel(std::uint32_t _number);
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
        Msg_code code = 0;
        Time end;
        std::uint64_t connection = 0;  ///< Number of the connection that it was sent on.
        std::unique_ptr<Pending> pending;
    };
    using Entries = std::unordered_map<Msg_num, Entry>;

    /// With `mutex`.
    std::unique_ptr<Pending> take(Entries::iterator _entry);
    template <class Condition>
    void fail(Error _error, Condition _condition);
    void wake_timer(Time _at);

    std::mutex mutex;  ///< Guards the rest. Before the locks of the runtime.
    Client* client;
    std::shared_ptr<Client_timer> timer;
    std::uint32_t last_number = 0;
    std::uint64_t connections = 0;
    std::uint64_t losses = 0;
    Entries entries;
    std::map<std::uint32_t, Msg_num> by_number;
    std::set<std::pair<Time, Msg_num>> by_end;
};

template <class Send>
void Requests::begin(std::uint32_t _number, Msg_code _code, double _limit, std::unique_ptr<Pending> _pending,
                     Send _send) {
    constexpr double c_longest = 1e9;
    const Time end = std::chrono::steady_clock::now() + std::chrono::duration_cast<Time::duration>(
                                                            std::chrono::duration<double>(std::min(_limit, c_longest)));
    std::unique_ptr<Pending> older;
    Error error = VORN_ERR_NONE_;
    {
        const std::lock_guard lock(mutex);
        Msg_num num = 0;
        error = _send(&num);
        if (const auto same = entries.find(num); error == 0 && same != entries.end()) {
            // 65,536 requests later, one still waits under the number. No one can tell their answers apart.
            older = take(same);
            error = VORN_ERR_BUSY_LOCALHOST_;
        }
        if (error == 0) {
            entries.emplace(num, Entry{_number, _code, end, connections, std::move(_pending)});
            by_number.emplace(_number, num);
            if (by_end.emplace(end, num).first == by_end.begin()) wake_timer(end);
        }
    }
    if (error != 0) _pending->finish(error, {});
    if (older) older->finish(error, {});
}

}  // namespace Vorn35::typed
