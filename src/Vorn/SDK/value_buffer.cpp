#include "Vorn/SDK/value_buffer.h"

#include <cstring>
#include <utility>

#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

Value_buffer::~Value_buffer() {
    safe_free_mm(&sync_mm);
    safe_free_mm(&mm);
    safe_free_mm(&taken_away);
}

void* Value_buffer::get(Pksize _size) {
    const Shared_hold hold;
    return take(_size, nullptr);
}

void* Value_buffer::take(Pksize _size, const void* _data_) {
    for (;;) {
        if (!owner_is_created()) return nullptr;
        {
            const Lock_guard lock(mm_mutex);
            if (mm == 0) {
                if (eproc_alloc_data(&mm, _size) != 0) return nullptr;
                size = _size;
                // Here, where nobody else can post the block, or free it.
                if (_data_ != nullptr && _size != 0) std::memcpy(get_data(mm), _data_, _size);
                return get_data(mm);
            }
        }
        // The other writer may take for ever, and a stop must get through meanwhile; it frees the block, too.
        const Released released;
        Unique_lock lock(mm_mutex);
        mm_free.wait(lock.native(), [this]() VORN35_REQUIRES(mm_mutex) { return mm == 0; });
    }
}

void Value_buffer::cancel() {
    const Shared_hold hold;
    {
        const Lock_guard lock(mm_mutex);
        safe_free_mm(&mm);
    }
    mm_free.notify_all();
}

Error Value_buffer::accept(Pksize _size) {
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    {
        const Lock_guard lock(mm_mutex);
        if (mm == 0) return VORN_ERR_DONT_GET_;
        if (size < _size) return VORN_ERR_TOO_BIG_SIZE_;
        if (!is_clean_memory(mm)) return VORN_ERR_DURTY_MEMORY_;
        Packet* const pkt = get_header(mm);
        *pkt = Packet{};
        pkt->initialize_packet(c_loopback_ip, std::chrono::steady_clock::now(), interval);
        address_value(pkt, _size);
        const Lock_guard sync_lock(sync_mm_mutex);
        safe_free_mm(&sync_mm);
        sync_mm = std::exchange(mm, 0);
    }
    mm_free.notify_all();
    return VORN_ERR_NONE_;
}

Error Value_buffer::write(const void* _data_, Pksize _size) {
    // To the end: a stop in between would take the block away.
    const Shared_hold hold;
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    if (take(_size, _data_) == nullptr) return VORN_ERR_EMPTY_VORN_MEMORY_;
    return post(_size);
}

Error Value_buffer::sync() {
    const Lock_guard lock(sync_mm_mutex);
    if (sync_mm == 0 || !has_receiver()) return VORN_ERR_NOT_EXIST_SYNC_DATA_;
    history.push(Token{sync_mm, sync_mm}, history_size);
    Packet* const pkt = get_header(sync_mm);
    pkt->header.num = ++num;
    // One microsecond for each byte on top of the interval.
    return send_value(sync_mm, pkt->get_data_size() / 1000000.0 + interval);
}

void Value_buffer::dress(Token* _token_, mm_t _value_mm, EMsg _type, IP _mct_if, double _limit) {
    safe_add_ref_mm(_value_mm);
    _token_->data_mm = _value_mm;
    Packet* const pkt = _token_->get_header_packet();
    *pkt = *get_header(_value_mm);
    pkt->initialize_packet(_mct_if, std::chrono::steady_clock::now(), _limit);
    pkt->header.type = _type;
}

Letter_case_ Value_buffer::snapshot(std::size_t _size) {
    const Lock_guard lock(sync_mm_mutex);
    return history.snapshot(_size);
}

Error Value_buffer::read(void* _data_, Pksize* _size_) {
    const Shared_hold hold;
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    return read_newest(snapshot(1), _data_, _size_);
}

void Value_buffer::release_values() {
    {
        const Lock_guard lock(mm_mutex);
        if (mm != 0) {
            safe_free_mm(&taken_away);
            taken_away = std::exchange(mm, 0);
        }
        const Lock_guard sync_lock(sync_mm_mutex);
        safe_free_mm(&sync_mm);
        history.clear();
    }
    mm_free.notify_all();
}

void Value_buffer::set_sync_model(Sync_model _sync_model, double _interval) {
    // Whoever waits for a tick must not stand in its way: a function in front of a signal's answer has a
    // hold.
    const Shared_hold hold;
    const Released released;
    const Lock_guard lock(timer_mutex);
    timer_.reset();
    sync_model = _sync_model;
    interval = _sync_model == on_timer ? _interval : c_no_interval;
    if (_sync_model == on_timer) timer_ = std::make_unique<Beat>(_interval, [this] { tick(); });
}

void Value_buffer::end_timer() {
    const Lock_guard lock(timer_mutex);
    timer_.reset();
}

/// Outside the runtime's life, and while the object is stopped, the timer beats for nothing. `mutex_01` comes
/// first: as long as it is held, a stop and the end of the runtime wait.
void Value_buffer::tick() {
    const Shared_hold hold;
    if (owner_is_created()) sync();
}

}  // namespace Vorn35
