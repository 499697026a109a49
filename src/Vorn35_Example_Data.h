/// @file
/// What travels over the interface sets `example` and `sample`, and how a payload is taken as such.
#pragma once

#include "Vorn35/vorn_typedef.h"

// The binding classes are global, and so are the names that they are written in.
using Vorn35::Addr;
using Vorn35::Error;
using Vorn35::IP;
using Vorn35::Msg_num;
using Vorn35::Pksize;
using Vorn35::Sync_model;

/// Each set uses its one code for all six kinds: a kind has a map of its own.
inline constexpr Vorn35::Msg_code c_example_code = 1;
inline constexpr Vorn35::Msg_code c_sample_code = 2;

/// From proxy to stub: argument of a call, signal, value of a command.
struct Example_input {
    int x;
};
/// From stub to proxy: result of a call, event, value of an information, datagram.
struct Example_output {
    int x;
};
/// As `Example_input`.
struct Sample_input {
    int x;
};
/// As `Example_output`.
struct Sample_output {
    int x;
};

/// A payload as the structure that it begins with. Null when it is too short for one, or there is none, as in the
/// answer of a call that failed.
template <class Data>
const Data* typed(const void* _data_, Pksize _size) {
    return _size >= sizeof(Data) ? static_cast<const Data*>(_data_) : nullptr;
}

/// The field, 0 where there is no structure.
template <class Data>
int x_of(const Data* _data_) {
    return _data_ != nullptr ? _data_->x : 0;
}
