#include "client_timer.h"

#include <algorithm>

namespace Vorn35::typed {

std::shared_ptr<Client_timer> Client_timer::get() {
    static std::mutex mutex;
    static std::weak_ptr<Client_timer> present;
    const std::lock_guard lock(mutex);
    std::shared_ptr<Client_timer> timer = present.lock();
    if (!timer) present = timer = std::make_shared<Client_timer>();
    return timer;
}

Client_timer::~Client_timer() {
    {
        const std::lock_guard lock(mutex);
        ends = true;
        changed.notify_all();
    }
    thread.join();
}

void Client_timer::wake(Client* _client, Time _at) {
    const std::lock_guard lock(mutex);
    const auto [entry, is_new] = clients.try_emplace(_client, _at);
    if (!is_new && entry->second <= _at) return;
    entry->second = _at;
    changed.notify_all();
}

void Client_timer::remove(Client* _client) {
    std::unique_lock lock(mutex);
    clients.erase(_client);
    changed.wait(lock, [&] { return running != _client; });
}

void Client_timer::run() {
    std::unique_lock lock(mutex);
    while (!ends) {
        const auto first = std::ranges::min_element(clients, {}, [](const auto& _entry) { return _entry.second; });
        if (first == clients.end()) {
            changed.wait(lock);
            continue;
        }
        const Time now = std::chrono::steady_clock::now();
        if (first->second > now) {
            changed.wait_until(lock, Time(first->second));
            continue;
        }
        running = first->first;
        first->second = Time::max();  // an earlier time that is set meanwhile stays
        lock.unlock();
        const Time next = running->on_time(now);
        lock.lock();
        if (const auto entry = clients.find(running); entry != clients.end()) {
            entry->second = std::min(entry->second, next);
        }
        running = nullptr;
        changed.notify_all();
    }
}

}  // namespace Vorn35::typed
