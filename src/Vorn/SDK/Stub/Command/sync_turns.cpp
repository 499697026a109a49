#include "Vorn/SDK/Stub/Command/sync_turns.h"

namespace Vorn35 {

Sync_turns::turn_t Sync_turns::take() {
    const Lock_guard lock(mutex);
    return ++taken;
}

bool Sync_turns::begin(turn_t _turn, Addr _client, const cmd_link_t& _link) {
    Unique_lock lock(mutex);
    changed.wait(lock.native(), [this, _turn]() VORN35_REQUIRES(mutex) { return current == _turn; });
    if (_link->ended) {
        pass();
        return false;
    }
    runs = true;
    client = _client;
    thread = std::this_thread::get_id();
    return true;
}

void Sync_turns::end() {
    const Lock_guard lock(mutex);
    runs = false;
    pass();
}

void Sync_turns::pass() {
    ++current;
    changed.notify_all();
}

void Sync_turns::end_link(const cmd_link_t& _link) {
    const Lock_guard lock(mutex);
    _link->ended = true;
}

bool Sync_turns::is_running(const Addr* _client) const {
    return runs && thread != std::this_thread::get_id() && (_client == nullptr || client == *_client);
}

bool Sync_turns::must_wait(const Addr* _client) {
    const Lock_guard lock(mutex);
    return is_running(_client);
}

void Sync_turns::wait(const Addr* _client) {
    Unique_lock lock(mutex);
    // A turn that begins later belongs to a later link.
    const turn_t last = current;
    changed.wait(lock.native(), [&]() VORN35_REQUIRES(mutex) { return current != last || !is_running(_client); });
}

}  // namespace Vorn35
