#include "requests.h"

#include <algorithm>
#include <vector>

#include "client_timer.h"
#include "envelope.h"
#include "vorn35/options.pb.h"

namespace Vorn35::typed {

std::uint32_t Requests::next_number() {
    std::uint32_t number = ++last_number;
    while (number == 0) number = ++last_number;
    return number;
}

std::unique_ptr<Pending> Requests::take(Entries::iterator _entry) {
    std::unique_ptr<Pending> pending = std::move(_entry->second.pending);
    entries.erase(_entry);
    return pending;
}

void Requests::finish(Request_key _key, Error _error, Bytes _bytes) {
    std::unique_ptr<Pending> pending;
    {
        const std::lock_guard lock(mutex);
        const auto entry = entries.find(_key);
        if (entry == entries.end()) return;
        pending = take(entry);
    }
    pending->finish(_error, _bytes);
}

bool Requests::cancel(Request_key _key, std::uint32_t _number) {
    constexpr Request_key call = 1;
    std::unique_ptr<Pending> pending;  // destroyed without the lock
    const std::lock_guard lock(mutex);
    const auto entry = entries.find(_key);
    if (entry == entries.end() || entry->second.number != _number) return false;
    pending = take(entry);
    if (_key >> 32 != call || client == nullptr) return true;
    vorn35::Cancel cancel;
    cancel.set_code(static_cast<Msg_code>(_key >> 16));
    cancel.set_number(_number);
    const Encoded encoded(cancel);
    Msg_num num = 0;
    client->cancels.delegate_signal(&num, encoded.data(), encoded.size(), 1);
    return true;
}

template <class Condition>
void Requests::fail(Error _error, Condition _condition) {
    std::vector<std::unique_ptr<Pending>> failed;
    {
        const std::lock_guard lock(mutex);
        for (auto entry = entries.begin(); entry != entries.end();) {
            const auto next = std::next(entry);
            if (_condition(entry->second)) failed.push_back(take(entry));
            entry = next;
        }
    }
    for (const auto& pending : failed) pending->finish(_error, {});
}

Requests::Time Requests::expire(Time _now) {
    // Limits that pass almost together are looked at together, since each look takes all entries.
    constexpr std::chrono::milliseconds grain(1);
    std::vector<std::unique_ptr<Pending>> expired;
    Time next = Time::max();
    {
        const std::lock_guard lock(mutex);
        if (earliest > _now) return earliest;
        for (auto entry = entries.begin(); entry != entries.end();) {
            const auto following = std::next(entry);
            if (entry->second.end <= _now) {
                expired.push_back(take(entry));
            } else {
                next = std::min(next, entry->second.end);
            }
            entry = following;
        }
        if (next != Time::max()) next = std::max(next, _now + grain);
        earliest = next;
    }
    for (const auto& pending : expired) pending->finish(VORN_ERR_LOCAL_TIMEOUT_, {});
    return next;
}

void Requests::connected() {
    const std::lock_guard lock(mutex);
    ++connections;
}

void Requests::disconnected() {
    std::uint64_t lost = 0;
    {
        const std::lock_guard lock(mutex);
        lost = ++losses;
    }
    // Its notice may come after that of the next connection, whose requests stay.
    fail(VORN_ERR_DISCONNECTED_TCP_, [lost](const Entry& _entry) { return _entry.connection <= lost; });
}

void Requests::fail_all(Error _error) {
    fail(_error, [](const Entry&) { return true; });
}

void Requests::forget_client() {
    const std::lock_guard lock(mutex);
    client = nullptr;
}

void Requests::wake_timer(Time _at) {
    if (timer) timer->wake(client, _at);
}

void Requests::set_timer(std::shared_ptr<Client_timer> _timer) {
    const std::lock_guard lock(mutex);
    timer.swap(_timer);  // the client holds another reference: it does not end here
}

bool Request_handle::cancel() const {
    const std::shared_ptr<Requests> all = requests.lock();
    return all && all->cancel(key, number);
}

}  // namespace Vorn35::typed
