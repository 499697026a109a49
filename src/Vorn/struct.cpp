#include "Vorn/struct.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>

namespace Vorn35 {

// The wire is little-endian and bit fields start at the low bit; nothing is converted on the way out.
static_assert(std::endian::native == std::endian::little);

// ---- Packet_time

void Packet_time::set_time(double _seconds) {
    exp = 0;
    man = 0;
    if (!(_seconds >= 0x1p-32)) return;  // also NaN
    if (_seconds >= 0x1p31) {            // also infinity, whose exponent frexp leaves open
        exp = 63;
        man = 1023;
        return;
    }
    int exponent = 0;
    const double fraction = std::frexp(_seconds, &exponent);
    exp = static_cast<std::uint16_t>(exponent + 31) & 0x3F;
    man = static_cast<std::uint16_t>(fraction * 1024) & 0x3FF;
}

double Packet_time::get_time() const {
    return std::ldexp(man, int{exp} - 41);
}

// ---- Header

namespace {

/// The types of one exchange that the switches walk between.
struct Exchange {
    EMsg request;
    EMsg answer;
    EMsg error_answer;
    EMsg cancel;
};

// Request: backward return -> answer, backward error -> error answer, forward error -> cancel.
// Answer:  backward return -> none,   backward error -> cancel,       forward error -> error answer.
constexpr Exchange c_exchanges[] = {
    {EMsg::signal, EMsg::signal_return, EMsg::signal_error_return, EMsg::signal_cancel},
    {EMsg::delegate_signal, EMsg::delegate_signal_return, EMsg::delegate_signal_error_return,
     EMsg::delegate_signal_cancel},
    {EMsg::call, EMsg::call_return, EMsg::call_error_return, EMsg::call_cancel},
    {EMsg::delegate_call, EMsg::delegate_call_return, EMsg::delegate_call_error_return, EMsg::delegate_call_cancel},
    {EMsg::event_connect, EMsg::event_confirm, EMsg::event_reject, EMsg::event_shutdown},
    {EMsg::delegate_event_connect, EMsg::delegate_event_confirm, EMsg::delegate_event_reject,
     EMsg::delegate_event_shutdown},
    {EMsg::command_connect, EMsg::command_confirm, EMsg::command_reject, EMsg::command_shutdown},
    {EMsg::delegate_command_connect, EMsg::delegate_command_confirm, EMsg::delegate_command_reject,
     EMsg::delegate_command_shutdown},
    {EMsg::information_tcp_connect, EMsg::information_tcp_confirm, EMsg::information_tcp_reject,
     EMsg::information_tcp_shutdown},
    {EMsg::delegate_information_tcp_connect, EMsg::delegate_information_tcp_confirm,
     EMsg::delegate_information_tcp_reject, EMsg::delegate_information_tcp_shutdown},
    {EMsg::information_udp_connect, EMsg::information_udp_confirm, EMsg::information_udp_reject,
     EMsg::information_udp_shutdown},
    {EMsg::delegate_information_udp_connect, EMsg::delegate_information_udp_confirm,
     EMsg::delegate_information_udp_reject, EMsg::delegate_information_udp_shutdown},
};

/// The exchange that a type is the request or the answer of; null for any other type.
const Exchange* find_exchange(EMsg _type) {
    for (const Exchange& exchange : c_exchanges) {
        if (_type == exchange.request || _type == exchange.answer) return &exchange;
    }
    return nullptr;
}

}  // namespace

void Header::init(Pksize _size, const Msg_num& _num, const EMsg& _type, Msg_code _code, Error _error) {
    ver = c_protocol_version;
    prt = 0;
    type = _type;
    code = _code;
    num = _num;
    error = _error;
    size = _size;
}

bool Header::backward_return_switch() {
    const Exchange* const exchange = find_exchange(type);
    if (exchange == nullptr || type != exchange->request) return false;
    // An answer to a call and a confirm carry a payload, so only a signal's size is cleared.
    if (type == EMsg::signal || type == EMsg::delegate_signal) size = 0;
    type = exchange->answer;
    return true;
}

bool Header::backward_error_switch(Error _error) {
    const Exchange* const exchange = find_exchange(type);
    if (exchange == nullptr) return false;
    if (type == exchange->request) {
        type = exchange->error_answer;
    } else {
        type = exchange->cancel;
        limit.set_time(c_no_limit);
    }
    error = _error;
    size = 0;
    return true;
}

bool Header::forward_error_switch(Error _error) {
    const Exchange* const exchange = find_exchange(type);
    if (exchange == nullptr) return false;
    type = type == exchange->request ? exchange->cancel : exchange->error_answer;
    error = _error;
    size = 0;
    return true;
}

// ---- Tcp_header

Tcp_header::Tcp_header() : dummy{}, port_of_sender(0), port_of_receiver(0) {
    set_string();
}

void Tcp_header::set_string() {
    static constexpr char banner[] = "Handshake@ 2020 Kestrane Corperation!!!!";
    static_assert(sizeof banner == 40 + 1);
    std::memset(dummy, 0, sizeof dummy - 1);  // the last byte stays as it is
    std::memcpy(dummy, banner, sizeof banner);
}

// ---- Packet

namespace {

double seconds_between(const ks_clock_t& _from, const ks_clock_t& _to) {
    return static_cast<double>((_to - _from).count()) / 1000000000.0;
}

}  // namespace

Packet& Packet::operator=(const Packet& _other) {
    arrival_cpu_clock_counter = _other.arrival_cpu_clock_counter;
    packet_limit_time = _other.packet_limit_time;
    packet_live_time = _other.packet_live_time;
    mct_if = _other.mct_if;
    src_ip = _other.src_ip;
    dst_ip = _other.dst_ip;
    src_port = _other.src_port;
    dst_port = _other.dst_port;
    header = _other.header;
    return *this;
}

bool Packet::is_request() const {
    const Exchange* const exchange = find_exchange(header.type);
    return exchange != nullptr && header.type == exchange->request;
}

bool Packet::is_answer() const {
    for (const Exchange& exchange : c_exchanges) {
        if (header.type == exchange.answer || header.type == exchange.error_answer) return true;
    }
    return false;
}

void Packet::initialize_packet(IP _mct_if, const ks_clock_t& _cpu_clock_counter, double _limit_time) {
    set_window(0);
    mct_if = _mct_if;
    arrival_cpu_clock_counter = _cpu_clock_counter;
    packet_limit_time = _limit_time;
    packet_live_time = 0;
    header.limit.set_time(_limit_time);
    header.time = Packet_time();
}

void Packet::set_to_proxy(Addr _proxy, Addr _stub) {
    dst_ip = _proxy.ip;
    dst_port = _proxy.port;
    src_ip = _stub.ip;
    src_port = _stub.port;
    header.gport = 0;
}

void Packet::set_to_stub(Addr _proxy, Addr _stub) {
    src_ip = _proxy.ip;
    src_port = _proxy.port;
    dst_ip = _stub.ip;
    dst_port = _stub.port;
    header.gport = _proxy.port;
}

void Packet::determine_arrival_clock(const ks_clock_t& _clock) {
    arrival_cpu_clock_counter = _clock;
    packet_limit_time = header.limit.get_time();
    packet_live_time = header.time.get_time();
}

bool Packet::update_packet_time_and_return_timeout() {
    const ks_clock_t now = std::chrono::steady_clock::now();
    const double spent = seconds_between(arrival_cpu_clock_counter, now);
    arrival_cpu_clock_counter = now;
    packet_limit_time -= spent;
    packet_live_time += spent;
    header.limit.set_time(packet_limit_time);
    header.time.set_time(packet_live_time);
    return !(packet_limit_time > 0);
}

bool Packet::is_timeout() const {
    return seconds_between(arrival_cpu_clock_counter, std::chrono::steady_clock::now()) >= packet_limit_time;
}

bool Packet::backward_return_switch() {
    std::swap(src_ip, dst_ip);
    std::swap(src_port, dst_port);
    return header.backward_return_switch();
}

bool Packet::backward_error_switch(Error _error) {
    std::swap(src_ip, dst_ip);
    std::swap(src_port, dst_port);
    if (!header.backward_error_switch(_error)) return false;
    packet_limit_time = header.limit.get_time();
    return true;
}

void Packet::set_swap_address(const Packet* _pkt_) {
    const Addr answer_from = _pkt_->get_dst();  // `_pkt_` may be this packet
    const Addr answer_to = _pkt_->get_src();
    src_ip = answer_from.ip;
    src_port = answer_from.port;
    dst_ip = answer_to.ip;
    dst_port = answer_to.port;
}

void Packet::set_swap_acktype() {
    switch (header.type) {
        case EMsg::signal_return:
            header.type = EMsg::signal_return_ack;
            break;
        case EMsg::delegate_signal_return:
            header.type = EMsg::delegate_signal_return_ack;
            break;
        case EMsg::call_return:
            header.type = EMsg::call_return_ack;
            break;
        case EMsg::delegate_call_return:
            header.type = EMsg::delegate_call_return_ack;
            break;
        default:
            break;
    }
}

}  // namespace Vorn35
