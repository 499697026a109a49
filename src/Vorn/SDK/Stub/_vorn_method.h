/// @file
/// Base of the internal member objects of a `Stub`, and what their adapters share.
#pragma once

#include <chrono>
#include <thread>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/SDK/interface_kind.h"

namespace Vorn35 {

class _Stub;

/// Constant after construction.
class _vorn_method {
public:
    _vorn_method(_Stub* _op_, Msg_code _code, interface_kind_t _b_interface)
        : _op(_op_), code(_code), b_interface(_b_interface) {}
    _vorn_method(const _vorn_method&) = delete;
    _vorn_method& operator=(const _vorn_method&) = delete;

    _Stub* const _op;
    const Msg_code code;
    const interface_kind_t b_interface;

protected:
    ~_vorn_method() = default;

    /// Repeats an allocation for an answer every 100 milliseconds until it succeeds or the request has outlived its
    /// limit.
    /// @return false: the limit has passed.
    template <class Allocate>
    static bool allocate_until_limit(Packet* _request, Allocate _allocate) {
        while (_allocate() != 0) {
            if (_request->update_packet_time_and_return_timeout()) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return true;
    }
};

}  // namespace Vorn35
