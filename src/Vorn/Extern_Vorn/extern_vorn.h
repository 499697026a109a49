/// @file
/// What the units of the C interface share: how the types of the one side become those of the other.
#pragma once

#include <bit>
#include <cstring>
#include <type_traits>

#include "Vorn35/History.h"
#include "Vorn35/Promise.h"
#include "Vorn35/Vorn.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// The handle of an adapter object is its own address: to be made from the adapter class itself and never
/// from a base, which may lie elsewhere.
template <class Adapter>
Vorn_inst* inst_of(Adapter* _adapter_) {
    static_assert(std::is_final_v<Adapter>);
    return static_cast<Vorn_inst*>(static_cast<void*>(_adapter_));
}

template <class Adapter>
Adapter* adapter_of(Vorn_inst* _inst_) {
    static_assert(std::is_final_v<Adapter>);
    return static_cast<Adapter*>(static_cast<void*>(_inst_));
}

inline Vorn_addr to_c(Addr _addr) {
    return {_addr.ip, _addr.port};
}
inline Vorn_promise* to_c(Promise_ _promise_) {
    return static_cast<Vorn_promise*>(static_cast<void*>(_promise_));
}
inline Vorn_letter_case* to_c(Letter_case_ _letter_case_) {
    return static_cast<Vorn_letter_case*>(static_cast<void*>(_letter_case_));
}

inline Addr from_c(Vorn_addr _addr) {
    return {_addr.ip, _addr.port};
}
inline Msg_addr from_c(Vorn_msg_addr _addr) {
    return {_addr.port, _addr.code, _addr.transaction};
}
inline Promise_ from_c(Vorn_promise* _promise_) {
    return static_cast<Promise_>(static_cast<void*>(_promise_));
}

/// The runtime must write the number of a request before it sends the request, since the answer may arrive before the
/// operation returns. So it gets a pointer to the lower half of the caller's variable.
inline Msg_num* lower_half_of(Vorn_seq* _seq_) {
    static_assert(std::endian::native == std::endian::little);
    std::memset(_seq_, 0, sizeof *_seq_);
    return static_cast<Msg_num*>(static_cast<void*>(_seq_));
}

}  // namespace Vorn35
