/// The tables of objects, and the directory of names: each process broadcasts its named stubs once a second, and keeps a
/// received name for eight beats.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "Kestrane/_chrono.h"
#include "Kestrane/_network.h"
#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/counters_file.h"
#include "Vorn/options.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

constexpr int c_name_ttl = 8;
/// Two changes of an address within this time come from two processes that take turns, not from a restart.
constexpr std::chrono::seconds c_contest(8);
/// Bytes of a name that are sent. A name of so many characters has no terminator.
constexpr std::size_t c_name_size = 21;

/// Head of the directory datagram's payload; `size` records of `record_size` bytes follow.
struct Broadcast_Stubes_info {
    std::uint16_t size;
    std::uint16_t record_size;
    std::uint32_t reserved;
};
static_assert(sizeof(Broadcast_Stubes_info) == 8);

struct Broadcast_stub_info {
    std::uint64_t age_clk;
    Port port;
    char name[22];
};
static_assert(sizeof(Broadcast_stub_info) == 32);
static_assert(offsetof(Broadcast_stub_info, name) == 10);

}  // namespace

bool Remote_stub_info::hear(Addr _stub_addr, ks_clock_t _now) {
    const bool is_unknown = ttl == 0;
    const bool is_change = !is_unknown && stub_addr != _stub_addr;
    if (is_unknown) known_since = _now;
    if (is_change) {
        counters::count(counters::Counter::names_contested);
        if (_now - changed < c_contest) contested = _now;
        previous_addr = stub_addr;
        changed = _now;
    }
    ttl = c_name_ttl;
    stub_addr = _stub_addr;
    heard = _now;
    return is_unknown || is_change;
}

Error Vorn_processor::create_stub(const char* _name_, Port* _port_, Stub* _stub_) {
    if (_name_ != nullptr && named_local_stubes.contains(_name_)) return VORN_ERR_ALREADY_USED_NAME_;
    if (*_port_ != 0 && local_stubes.contains(*_port_)) return VORN_ERR_ALREADY_USED_ADDR_;
    try {
        add_server(_port_);
    } catch (int failure) {
        return failure;
    }
    local_stubes[*_port_] = _stub_;
    if (_name_ != nullptr) {
        named_local_stubes[_name_] = *_port_;
        tell_names_soon(false);
    }
    return VORN_ERR_NONE_;
}

void Vorn_processor::destroy_stub(Port _port) {
    del_server(_port);
    local_stubes.erase(_port);
}

Error Vorn_processor::create_proxy(Addr _stub_addr, Proxy* _proxy_) {
    if (remote_stubes.contains(_stub_addr)) return VORN_ERR_ALREADY_USED_ADDR_;
    if (const Error failure = add_client(_stub_addr); failure != 0) return failure;
    remote_stubes[_stub_addr] = _proxy_;
    return VORN_ERR_NONE_;
}

void Vorn_processor::destroy_proxy(Addr _stub_addr) {
    del_client(_stub_addr);
    remote_stubes.erase(_stub_addr);
}

void Vorn_processor::forget_stub(Stub* _stub) {
    forget_queued(_stub);
    if (!was_deferred(&destroy_vect, _stub)) return;
    for (auto next = local_stubes.begin(); next != local_stubes.end();) {
        const auto [port, stub] = *next++;
        if (stub == _stub) destroy_stub(port);
    }
    _Stub::of(_stub)->forget_order();
}

void Vorn_processor::forget_proxy(Proxy* _proxy) {
    forget_queued(_proxy);
    if (!was_deferred(&destroy_proxy_vect, _proxy)) return;
    for (auto next = remote_stubes.begin(); next != remote_stubes.end();) {
        const auto [addr, proxy] = *next++;
        if (proxy == _proxy) destroy_proxy(addr);
    }
}

void Vorn_processor::forget_queued(const void* _object) {
    for (const auto& [addr, qbuffer] : qbuffer_map) {
        const Lock_guard lock(qbuffer->m_lock);
        std::erase_if(*qbuffer, [_object](qtoken_t& _queued) {
            if (_queued.object_ != _object) return false;
            drop_queued(&_queued);
            return true;
        });
    }
}

template <class Object>
bool Vorn_processor::was_deferred(std::vector<Object*>* _deferred, const Object* _object) {
    const Lock_guard lock(destroy_vect_mutex);
    return std::erase(*_deferred, _object) != 0;
}

std::size_t Vorn_processor::get_address(const char* _name_, Addr* _stub_addr_) const {
    const auto found = named_remote_stubes.find(_name_);
    if (found == named_remote_stubes.end()) return 0;
    *_stub_addr_ = found->second.stub_addr;
    return 1;
}

std::vector<Known_name> Vorn_processor::known_names() const {
    const ks_clock_t now = std::chrono::steady_clock::now();
    const auto seconds_since = [now](ks_clock_t _then) { return std::chrono::duration<double>(now - _then).count(); };
    std::vector<Known_name> names;
    for (const auto& [name, info] : named_remote_stubes) {
        names.push_back({name, info.stub_addr, seconds_since(info.known_since), seconds_since(info.heard),
                         now - info.contested < c_contest ? info.previous_addr : Addr()});
    }
    return names;
}

void Vorn_processor::timer(double _interval) {
    // Counted from the last beat: it does not drift.
    auto beat = std::chrono::steady_clock::now() + Kestrane::to_duration(_interval);
    Unique_lock lock(timer_mutex);
    for (;;) {
        const auto deadline = std::min(beat, directory_due);
        const auto is_called = [this, deadline]() VORN35_REQUIRES(timer_mutex) {
            return timer_ == nullptr || directory_due < deadline;
        };
        if (timer_wake.wait_until(lock.native(), deadline, is_called)) {
            if (timer_ == nullptr) return;
            continue;
        }
        directory_due = ks_clock_t::max();
        const bool is_beat = deadline == beat;
        lock.unlock();
        if (is_beat) {
            beat += Kestrane::to_duration(_interval);
            inet_interval_event();
            counters::write_gauges();
        }
        {
            const Exclusive_hold hold;
            if (is_beat) {
                retry_resources();
                countdown_remote_stubes_info();
            }
            broadcast_local_stubes_info();
        }
        lock.lock();
    }
}

void Vorn_processor::tell_names_soon(bool _as_answer) {
    if (!g_options.tell_names_at_once) return;
    constexpr std::chrono::milliseconds pause(100);
    {
        const Lock_guard lock(timer_mutex);
        ks_clock_t due = std::chrono::steady_clock::now();
        if (_as_answer) due = std::max(due, directory_answered + pause);
        if (due >= directory_due) return;
        directory_due = due;
        if (_as_answer) directory_answered = due;
    }
    timer_wake.notify_all();
}

void Vorn_processor::stop_timer() {
    std::unique_ptr<std::thread> ending;
    {
        const Lock_guard lock(timer_mutex);
        ending.swap(timer_);
    }
    timer_wake.notify_all();
    if (ending != nullptr) ending->join();
}

void Vorn_processor::countdown_remote_stubes_info() {
    for (auto next = named_remote_stubes.begin(); next != named_remote_stubes.end();) {
        if (--next->second.ttl != 0) {
            ++next;
            continue;
        }
        counters::count(counters::Counter::names_expired);
        next = named_remote_stubes.erase(next);
    }
}

void Vorn_processor::broadcast_local_stubes_info() {
    Kestrane::IP4_if_table interfaces;
    if (Kestrane::get_ip4_if_table(&interfaces) == 0) return;

    const Broadcast_Stubes_info head{static_cast<std::uint16_t>(named_local_stubes.size()), sizeof(Broadcast_stub_info),
                                     0};
    std::vector<std::uint8_t> payload(sizeof head + named_local_stubes.size() * sizeof(Broadcast_stub_info));
    std::memcpy(payload.data(), &head, sizeof head);
    std::uint8_t* place = payload.data() + sizeof head;
    for (const auto& [name, port] : named_local_stubes) {
        Broadcast_stub_info record{};
        record.port = port;
        std::memcpy(record.name, name.data(), std::min(name.size(), c_name_size));
        std::memcpy(place, &record, sizeof record);
        place += sizeof record;
    }

    // The interfaces determine only the number of copies. Each copy is the same broadcast.
    for (std::size_t copy = 0; copy < interfaces.size(); ++copy) {
        Token token;
        if (token.alloc_header() != 0 || token.alloc_data(payload.size()) != 0) {
            token.free();
            continue;
        }
        std::memcpy(token.get_data(), payload.data(), payload.size());
        Packet* const pkt = token.get_header_packet();
        pkt->initialize_packet(c_loopback_ip, std::chrono::steady_clock::now(), c_no_limit);
        pkt->initialize_header(static_cast<Pksize>(payload.size()), 0, EMsg::ctrl_broadcast, c_directory_code, 0);
        pkt->set_to_proxy(Addr(c_broadcast_ip, c_directory_port), Addr(c_loopback_ip, c_directory_port));
        if (send_udp(token, pkt) != 0) token.free();
    }
}

void Vorn_processor::recv_datagram_stubes_info(Token _token, Packet* _pkt_) {
    if (!_token.has_data()) return;
    const auto* const payload = static_cast<const std::uint8_t*>(_token.get_data());
    const std::size_t length = std::min<std::size_t>(_pkt_->get_data_size(), get_data_size(_token.data_mm));
    Broadcast_Stubes_info head;
    if (length < sizeof head) return;
    std::memcpy(&head, payload, sizeof head);

    // A later sender may lengthen its records. A name ends with its record at the latest.
    constexpr std::size_t name_offset = offsetof(Broadcast_stub_info, name);
    const std::size_t name_room = std::max<std::size_t>(head.record_size, sizeof(Broadcast_stub_info)) - name_offset;

    const Exclusive_hold hold;
    bool is_new = head.size == 0 && heard.is_new(_pkt_->src_ip, std::chrono::steady_clock::now());
    // Does not trust the sender's counts: never reads beyond the payload.
    for (std::size_t i = 0, at = sizeof head; i < head.size && at + name_offset <= length;
         ++i, at += head.record_size) {
        Port port = 0;
        std::memcpy(&port, payload + at + offsetof(Broadcast_stub_info, port), sizeof port);
        const std::size_t room = std::min(name_room, length - at - name_offset);
        const auto* const name = reinterpret_cast<const char*>(payload + at + name_offset);
        Remote_stub_info& info = named_remote_stubes[std::string(name, ::strnlen(name, room))];
        is_new = info.hear(Addr(_pkt_->src_ip, port), std::chrono::steady_clock::now()) || is_new;
        // Records of no length are all the same one.
        if (head.record_size == 0) break;
    }
    if (is_new && !named_local_stubes.empty()) tell_names_soon(true);
}

}  // namespace Vorn35
