/// @file
#pragma once

#include <cstdint>

namespace Vorn35 {

/// Who owns the `_Stub` or `_Proxy` behind a member.
enum enum_interface_kind : std::int32_t {
    c_integrated_interface = 0,  ///< The member shares one virtual base with the application class.
    c_each_interface = 1,        ///< The member is attached to an existing object and borrows its twin.
};
using interface_kind_t = enum_interface_kind;

}  // namespace Vorn35
