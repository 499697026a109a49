/// @file
/// The number of a call that can be cancelled, before its request.
#pragma once

#include "Vorn35/protobuf/Message.h"

namespace Vorn35::typed::envelope {

inline constexpr std::size_t c_number_size = 7;
/// Code of the signal that cancels calls.
inline constexpr Msg_code c_cancel_code = 65535;

/// Writes the number into the first `c_number_size` bytes of a request.
void put_number(std::byte* _prefix, std::uint32_t _number);
/// Removes the number from a request. 0: it has none.
std::uint32_t take_number(Bytes* _request_);

}  // namespace Vorn35::typed::envelope
