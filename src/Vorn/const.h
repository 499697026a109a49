/// @file
/// Constants of the wire and of the message model.
#pragma once

#include <limits>

#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Written into every header; checked for datagrams only.
inline constexpr Version c_protocol_version = 2;

/// "No time limit": the largest finite double. Encodes to the infinite `Packet_time`.
inline constexpr double c_no_limit = std::numeric_limits<double>::max();

/// 127.0.0.1, in network byte order as every `IP`.
inline constexpr IP c_loopback_ip = 0x0100007F;
/// 255.255.255.255; also marks a datagram destination in a `Packet`.
inline constexpr IP c_broadcast_ip = 0xFFFFFFFF;

/// UDP port of the directory of names, held from `initialize` to `finalize`.
inline constexpr Port c_directory_port = 9845;
/// `code` of a `ctrl_broadcast` that carries the directory of names.
inline constexpr Msg_code c_directory_code = 1;

/// `code` of a `ctrl`: which connection event it reports.
inline constexpr Msg_code c_tcp_connected_from_client = 0x8005;
inline constexpr Msg_code c_tcp_disconnected_from_client = 0x8006;
inline constexpr Msg_code c_tcp_connected_to_server = 0x8007;
inline constexpr Msg_code c_tcp_disconnected_from_server = 0x8008;
inline constexpr Msg_code c_control_codes[] = {c_tcp_connected_from_client, c_tcp_disconnected_from_client,
                                               c_tcp_connected_to_server, c_tcp_disconnected_from_server};

/// The configuration file, relative to the working directory, and its section.
inline constexpr const char* c_ini_file = "../Config/vorn.ini";
inline constexpr const char* c_ini_section = "VORN";

/// Numbers of the interface families. 0 takes no part in ordering.
inline constexpr Transaction c_no_transaction = 0;
inline constexpr Transaction c_call_transaction = 1;
inline constexpr Transaction c_signal_transaction = 2;
inline constexpr Transaction c_event_transaction = 3;
inline constexpr Transaction c_command_transaction = 4;
inline constexpr Transaction c_information_transaction = 5;
inline constexpr Transaction c_datagram_transaction = 6;

}  // namespace Vorn35
