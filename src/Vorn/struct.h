/// @file
/// Everything that two processes agree on byte for byte: `Packet_time`, `Header`, `Tcp_header`; and `Packet`,
/// the in-memory record of one message.
///
/// Plain value code: no threads, no locks, no allocation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Vorn/const.h"
#include "Vorn/typedef.h"

namespace Vorn35 {

/// Seconds as a 16-bit unsigned float: 10 bits of mantissa above 6 bits of exponent (bias 31).
///
/// Encoding truncates, so it never exceeds the value given. 2^31 s and above are infinite (0xFFFF, which
/// decodes to 4290772992.0); below 2^-32 s is 0.
struct Packet_time {
    std::uint16_t exp : 6;
    std::uint16_t man : 10;

    Packet_time() : exp(0), man(0) {}
    explicit Packet_time(double _seconds) { set_time(_seconds); }

    void set_time(double _seconds);
    double get_time() const;
    operator double() const { return get_time(); }

    bool is_zerotime() const { return exp == 0 && man == 0; }
    bool is_infinite() const { return exp == 63 && man == 1023; }
};
static_assert(sizeof(Packet_time) == 2);

/// The 20 bytes of a message that travel, little-endian, ahead of `size` bytes of payload.
struct Header {
    Version ver : 3;
    Priority prt : 5;
    EMsg type;
    /// Gate port: the client's port of the connection, written by the client's relay; the service's relay writes 0. Dispatch
    /// looks for a `Stub` if it is not 0, and for a `Proxy` if it is. It means nothing in an acknowledgement or a heartbeat.
    Port gport;
    Packet_time limit;  ///< Seconds of life left, as of the last `update_packet_time_and_return_timeout`.
    Packet_time time;   ///< Seconds of life spent until then, in pipes only.
    Msg_code code;
    Msg_num num;
    Error error;
    Pksize size;

    /// Writes the whole first byte (version 2, priority 0), type, code, num, error and size; leaves the rest.
    void init(Pksize _size, const Msg_num& _num, const EMsg& _type, Msg_code _code, Error _error);

    /// Turns a request into its positive answer. False, with nothing changed, when the type has none.
    bool backward_return_switch();
    /// Turns a request into its error answer, or an answer into the cancel that goes back for it (limit
    /// infinite). Sets `error`, clears `size`. False, with nothing changed, when the type has no such form.
    bool backward_error_switch(Error _error);
    /// Turns a message into the error that travels on in the same direction. Sets `error`, clears `size`.
    bool forward_error_switch(Error _error);
};
static_assert(sizeof(Header) == 20);

/// The record that each side sends once when a TCP connection opens. The banner is never compared.
class Tcp_header {
public:
    Tcp_header();

    void set_port_of_sender(Port _port) { port_of_sender = _port; }
    void set_port_of_receiver(Port _port) { port_of_receiver = _port; }
    Port get_port_of_sender() const { return port_of_sender; }
    Port get_port_of_receiver() const { return port_of_receiver; }

    /// Copies the banner in again, as `strncpy` with a count of 1019 does.
    void set_string();

    static constexpr std::size_t get_size() { return 1024; }

private:
    char dummy[1020];
    Port port_of_sender;
    Port port_of_receiver;
};
static_assert(sizeof(Tcp_header) == Tcp_header::get_size());

/// In-memory record of one message. Only `header` travels; the receiver rebuilds the rest from its socket.
///
/// 64 bytes with `header` at the very end: in a data block the payload follows such a record at once, so that
/// header and payload are one contiguous run of bytes.
struct Packet {
    ks_clock_t arrival_cpu_clock_counter;  ///< When the message arrived or was last stamped.
    double packet_limit_time;              ///< Seconds of life left.
    double packet_live_time;               ///< Seconds of life spent.
    IP mct_if;                             ///< Multicast interface to send from, or local interface it came in by.
    IP src_ip;
    IP dst_ip;
    Port src_port;
    Port reserve1;
    Port dst_port;
    Port reserve2;
    Header header;

    Packet() = default;
    Packet(const Packet&) = default;
    /// Copies every field but the two reserves.
    Packet& operator=(const Packet& _other);

    void initialize_packet(IP _mct_if, const ks_clock_t& _cpu_clock_counter, double _limit_time);
    void initialize_header(Pksize _size, const Msg_num& _num, const EMsg& _type, Msg_code _code, Error _error) {
        header.init(_size, _num, _type, _code, _error);
    }

    /// A message from a `Stub` to a `Proxy`: `gport` becomes 0.
    void set_to_proxy(Addr _proxy, Addr _stub);
    /// A message from a `Proxy` to a `Stub`: `gport` becomes the proxy's port.
    void set_to_stub(Addr _proxy, Addr _stub);

    /// Takes limit and life from a header that was just read from the network.
    void determine_arrival_clock(const ks_clock_t& _clock);
    /// Moves the time since the last stamp from limit to life and encodes both. True: the limit is used up.
    bool update_packet_time_and_return_timeout();
    bool is_timeout() const;

    /// The two backward switches exchange source and destination first, also when the result is false.
    bool backward_return_switch();
    bool backward_error_switch(Error _error);
    /// The type asks for an answer, or is one.
    bool is_request() const;
    bool is_answer() const;
    bool forward_error_switch(Error _error) { return header.forward_error_switch(_error); }

    /// This packet's addresses become those of an answer to `_pkt_`.
    void set_swap_address(const Packet* _pkt_);
    /// A signal's or call's return becomes its acknowledgement; any other type stays.
    void set_swap_acktype();

    /// The receive window that the message counts in, kept in the two reserves, which neither travel nor are copied.
    std::uint32_t window() const { return std::uint32_t{reserve1} << 16U | reserve2; }
    void set_window(std::uint32_t _window) {
        reserve1 = static_cast<Port>(_window >> 16U);
        reserve2 = static_cast<Port>(_window & 0xFFFFU);
    }

    void set_control_type() { header.type = EMsg::ctrl; }
    void set_heartbeat_type() { header.type = EMsg::null; }
    void set_tcp_connected_from_client() { header.code = c_tcp_connected_from_client; }
    void set_tcp_disconnected_from_client() { header.code = c_tcp_disconnected_from_client; }
    void set_tcp_connected_to_server() { header.code = c_tcp_connected_to_server; }
    void set_tcp_disconnected_from_server() { header.code = c_tcp_disconnected_from_server; }

    std::size_t get_total_size() const { return std::size_t{header.size} + sizeof(Packet); }
    std::size_t get_packet_size() const { return std::size_t{header.size} + sizeof(Header); }
    static constexpr std::size_t get_header_size() { return sizeof(Header); }
    std::uint8_t* get_header() { return reinterpret_cast<std::uint8_t*>(&header); }
    const std::uint8_t* get_header() const { return reinterpret_cast<const std::uint8_t*>(&header); }

    Pksize get_data_size() const { return header.size; }
    void set_data_size(Pksize _size) { header.size = _size; }
    Port get_client_gate_port() const { return header.gport; }
    void set_client_gate_port(const Port& _port) { header.gport = _port; }
    Port get_src_port() const { return src_port; }
    void set_src_port(Port _port) { src_port = _port; }
    Port get_dst_port() const { return dst_port; }
    void set_dst_port(Port _port) { dst_port = _port; }
    void set_src_ip(IP _ip) { src_ip = _ip; }
    IP get_dst_ip() const { return dst_ip; }
    void set_dst_ip(IP _ip) { dst_ip = _ip; }
    IP get_mct_if() const { return mct_if; }
    void set_mct_if(IP _ip) { mct_if = _ip; }

    Addr get_src() const { return {src_ip, src_port}; }
    Addr get_dst() const { return {dst_ip, dst_port}; }

    EMsg get_msg_type() const { return header.type; }
    Version get_version() const { return header.ver; }
    bool is_right_version() const { return header.ver == c_protocol_version; }
    bool dst_is_datagram() const { return dst_ip == c_broadcast_ip; }
    bool is_information_udp() const { return header.type == EMsg::information_udp; }
    bool is_command_udp() const { return header.type == EMsg::command_udp; }
    bool is_signal_return() const { return header.type == EMsg::signal_return; }
    bool is_call_return() const { return header.type == EMsg::call_return; }
    bool is_delegate_signal_return() const { return header.type == EMsg::delegate_signal_return; }
    bool is_delegate_call_return() const { return header.type == EMsg::delegate_call_return; }
    bool is_signal_return_ack() const { return header.type == EMsg::signal_return_ack; }
    bool is_call_return_ack() const { return header.type == EMsg::call_return_ack; }
    bool is_delegate_signal_return_ack() const { return header.type == EMsg::delegate_signal_return_ack; }
    bool is_delegate_call_return_ack() const { return header.type == EMsg::delegate_call_return_ack; }
    bool is_heartbeat() const { return header.type == EMsg::null; }
};
static_assert(sizeof(Packet) == 64);
static_assert(offsetof(Packet, header) + sizeof(Header) == sizeof(Packet));

}  // namespace Vorn35
