/// @file
#pragma once

#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Group of an unreliable information: 232, the low byte of the service's port, the code's high and low byte.
/// Both ends derive it, no message carries it.
inline IP multicast_group(Port _stub_port, Msg_code _code) {
    return IP{232} | IP{_stub_port & 0xFFU} << 8 | IP{_code >> 8U & 0xFFU} << 16 | IP{_code & 0xFFU} << 24;
}

}  // namespace Vorn35
