/// @file
/// What the two programs of the tour agree on.
#pragma once

#include "Vorn35/Vorn35.h"

namespace tour {

/// The service is published under this name; clients need nothing else.
inline constexpr const char* c_name = "tour";
/// Fixed, so that a client's connection comes back after the service did.
inline constexpr Vorn35::Port c_port = 50100;

// Codes of the calls.
inline constexpr Vorn35::Msg_code c_add = 1;    ///< `Terms` in, one double out.
inline constexpr Vorn35::Msg_code c_work = 2;   ///< One double in: seconds of work. Can be cancelled.
inline constexpr Vorn35::Msg_code c_leave = 3;  ///< The service says good-bye and ends.
inline constexpr Vorn35::Msg_code c_nobody = 99;

struct Terms {
    double a;
    double b;
};

/// An application has error numbers of its own; they travel like any other. Negative, as all failures are.
inline constexpr Vorn35::Error c_not_a_number = -1001;
inline constexpr Vorn35::Error c_gave_up = -1002;

}  // namespace tour
