#include "Vorn/SDK/value_buffer.h"

#include <cstring>
#include <utility>

#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

Value_buffer::~Value_buffer() {
    safe_free_mm(&sync_mm);
    safe_free_mm(&inf_mm);
    for (auto& [thread, mm] : lost_blocks) safe_free_mm(&mm);
}

void* Value_buffer::get(Pksize _size) {
    const Shared_hold hold;
    return take(_size, nullptr);
}

void* Value_buffer::take(Pksize _size, const void* _data_) {
    for (;;) {
        if (!owner_is_created()) return nullptr;
        {
            const Lock_guard lock(inf_mm_mutex);
            if (const auto lost = lost_blocks.find(std::this_thread::get_id()); lost != lost_blocks.end()) {
                safe_free_mm(&lost->second);
                lost_blocks.erase(lost);
            }
            if (inf_mm == 0) {
                if (eproc_alloc_data(&inf_mm, _size) != 0) return nullptr;
                inf_size = _size;
                writer = std::this_thread::get_id();
                // Under the mutex, so that no other thread can post or free the block meanwhile.
                if (_data_ != nullptr && _size != 0) std::memcpy(get_data(inf_mm), _data_, _size);
                return get_data(inf_mm);
            }
        }
        // The other writer may take arbitrarily long. A stop must not wait for it; the stop also ends this wait.
        const Released released;
        Unique_lock lock(inf_mm_mutex);
        mm_free.wait(lock.native(), [this]() VORN35_REQUIRES(inf_mm_mutex) { return inf_mm == 0; });
    }
}

void Value_buffer::cancel() {
    const Shared_hold hold;
    {
        const Lock_guard lock(inf_mm_mutex);
        if (const auto lost = lost_blocks.find(std::this_thread::get_id()); lost != lost_blocks.end()) {
            // The block that `inf_mm` may name belongs to another writer.
            return safe_free_mm(&lost->second);
        }
        safe_free_mm(&inf_mm);
    }
    mm_free.notify_all();
}

Error Value_buffer::accept(Pksize _size) {
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    {
        const Lock_guard lock(inf_mm_mutex);
        if (inf_mm == 0 || lost_blocks.contains(std::this_thread::get_id())) return VORN_ERR_DONT_GET_;
        if (inf_size < _size) return VORN_ERR_TOO_BIG_SIZE_;
        if (!is_clean_memory(inf_mm)) return VORN_ERR_DURTY_MEMORY_;
        Packet* const pkt = get_header(inf_mm);
        *pkt = Packet{};
        pkt->initialize_packet(c_loopback_ip, std::chrono::steady_clock::now(), interval);
        address_value(pkt, _size);
        const Lock_guard sync_lock(inf_sync_mm_mutex);
        safe_free_mm(&sync_mm);
        sync_mm = std::exchange(inf_mm, 0);
    }
    mm_free.notify_all();
    return VORN_ERR_NONE_;
}

Error Value_buffer::write(const void* _data_, Pksize _size) {
    // Held to the end: a stop in between would take the block away.
    const Shared_hold hold;
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    if (take(_size, _data_) == nullptr) return VORN_ERR_EMPTY_VORN_MEMORY_;
    return post(_size);
}

Error Value_buffer::sync(Sync_model /*_sync_model*/) {
    const Lock_guard lock(inf_sync_mm_mutex);
    if (sync_mm == 0) return VORN_ERR_NOT_EXIST_SYNC_DATA_;
    if (!has_receiver()) {
        counters::count(counters::Counter::commands_unsent);
        return VORN_ERR_NOT_EXIST_SYNC_DATA_;
    }
    history.push(Token{sync_mm, sync_mm}, history_size);
    get_header(sync_mm)->header.num = ++num;
    return send_value(sync_mm, limit_of(sync_mm));
}

double Value_buffer::limit_of(mm_t _value_mm) const {
    return get_header(_value_mm)->get_data_size() / 1000000.0 + interval;
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
    const Lock_guard lock(inf_sync_mm_mutex);
    return history.snapshot(_size);
}

Error Value_buffer::read(void* _data_, Pksize* _size_) {
    const Shared_hold hold;
    if (!owner_is_created()) return VORN_ERR_IS_NOT_CREATED_;
    return read_newest(snapshot(1), _data_, _size_);
}

void Value_buffer::release_values() {
    {
        const Lock_guard lock(inf_mm_mutex);
        if (inf_mm != 0) {
            lost_blocks[writer] = std::exchange(inf_mm, 0);
            counters::count(counters::Counter::blocks_taken);
        }
        const Lock_guard sync_lock(inf_sync_mm_mutex);
        safe_free_mm(&sync_mm);
        history.clear();
    }
    mm_free.notify_all();
}

void Value_buffer::set_sync_model(Sync_model _sync_model, double _interval) {
    // The wait for a tick must not block the tick: a function in front of a signal's answer runs with a hold.
    const Shared_hold hold;
    const Released released;
    const Lock_guard lock(inf_timer_mutex);
    sync_model = _sync_model;
    interval = _sync_model == on_timer ? _interval : c_no_interval;
    set_sync_model();
}

void Value_buffer::set_sync_model() {
    timer_.reset();
    if (sync_model == on_timer) timer_ = std::make_unique<Beat>(interval, [this] { timer_information_syncros(); });
}

void Value_buffer::end_timer() {
    const Lock_guard lock(inf_timer_mutex);
    timer_.reset();
}

/// Does nothing while the object is stopped or the runtime is down. The hold of `mutex_01` comes first: a stop and
/// `finalize` wait until it ends.
void Value_buffer::timer_information_syncros() {
    const Shared_hold hold;
    if (owner_is_created()) sync(on_timer);
}

}  // namespace Vorn35
