/// @file
/// Base of the internal member objects of a `Proxy`.
#pragma once

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/SDK/interface_kind.h"

namespace Vorn35 {

class _Proxy;

/// Constant after construction.
class _Proxy_method {
public:
    _Proxy_method(_Proxy* _pp_, Msg_code _code, interface_kind_t _b_interface)
        : _pp(_pp_), code(_code), b_interface(_b_interface) {}
    _Proxy_method(const _Proxy_method&) = delete;
    _Proxy_method& operator=(const _Proxy_method&) = delete;

    _Proxy* const _pp;
    const Msg_code code;
    const interface_kind_t b_interface;

protected:
    ~_Proxy_method() = default;
};

}  // namespace Vorn35
