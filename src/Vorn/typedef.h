/// @file
/// Types of the message model that do not show in the public headers.
#pragma once

#include <chrono>
#include <cstdint>

#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// A point on the steady clock.
using ks_clock_t = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

/// Message type, one byte on the wire.
///
/// The high nibble is the interface family, bit 3 the `delegate_` flag, the low three bits the step of the
/// exchange. The information families put disconnect at +3 and shutdown at +4, the reverse of event and
/// command, and 117 is unassigned: both are part of the protocol.
enum class EMsg : std::uint8_t {
    null = 0,  ///< Heartbeat.
    ctrl = 1,  ///< Connection event, made inside the process.
    ctrl_ret = 2,
    ctrl_broadcast = 3,  ///< With code 1: the directory of names.
    datagram = 6,

    signal = 32,
    signal_return,
    signal_error_return,
    signal_cancel,
    signal_return_ack,
    delegate_signal = 40,
    delegate_signal_return,
    delegate_signal_error_return,
    delegate_signal_cancel,
    delegate_signal_return_ack,

    call = 48,
    call_return,
    call_error_return,
    call_cancel,
    call_return_ack,
    delegate_call = 56,
    delegate_call_return,
    delegate_call_error_return,
    delegate_call_cancel,
    delegate_call_return_ack,

    event_connect = 64,
    event_confirm,
    event_reject,
    event_shutdown,
    event_disconnect,
    event,
    delegate_event_connect = 72,
    delegate_event_confirm,
    delegate_event_reject,
    delegate_event_shutdown,
    delegate_event_disconnect,

    command_connect = 80,
    command_confirm,
    command_reject,
    command_shutdown,
    command_disconnect,
    command_tcp,
    command_udp,
    delegate_command_connect = 88,
    delegate_command_confirm,
    delegate_command_reject,
    delegate_command_shutdown,
    delegate_command_disconnect,

    information_tcp_connect = 96,
    information_tcp_confirm,
    information_tcp_reject,
    information_tcp_disconnect,
    information_tcp_shutdown,
    information_tcp,
    delegate_information_tcp_connect = 104,
    delegate_information_tcp_confirm,
    delegate_information_tcp_reject,
    delegate_information_tcp_disconnect,
    delegate_information_tcp_shutdown,

    information_udp_connect = 112,
    information_udp_confirm,
    information_udp_reject,
    information_udp_disconnect,
    information_udp_shutdown,
    information_udp = 118,
    delegate_information_udp_connect = 120,
    delegate_information_udp_confirm,
    delegate_information_udp_reject,
    delegate_information_udp_disconnect,
    delegate_information_udp_shutdown,

    max = 255,
};

/// Interface family of a type for the ordering of messages; 0 when the type takes no part in ordering.
Transaction trans_listen_type_to_transaction(EMsg _type);

/// The request that a return answers: what a waiter's key carries. `call` for every type not listed.
EMsg get_return_type(EMsg _type);

}  // namespace Vorn35
