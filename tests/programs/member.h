/// @file
/// A member of any of the six kinds, of either side.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "Vorn35/Vorn35.h"

namespace peer {

using namespace Vorn35;

/// Passes the payload of each callback to one function, and one byte for an error. Each kind overrides the callbacks
/// that it has. A call gets its payload back, with the result of the function. A link with a limit below 1000 is
/// refused.
template <class Kind>
struct Member : Kind {
    using Take = std::function<Error(const void* _data, Pksize _size)>;
    template <class... Arguments>
    explicit Member(Take _take, Arguments&&... _arguments) : Kind(_arguments...), take(std::move(_take)) {}

    Error on_call(Addr, const void* _in, Pksize _size, void* _out_, Pksize* _out_size_, double, double) {
        *_out_size_ = std::min(*_out_size_, _size);
        if (*_out_size_ != 0) std::memcpy(_out_, _in, *_out_size_);
        return take(_in, _size);
    }
    Error on_link(Addr, double, double _limit) { return _limit < 1000 ? 77 : 0; }
    Error on_link(Addr, bool, double, double _limit) { return _limit < 1000 ? 77 : 0; }
    void on_link(Msg_num, Error, double) {}
    void on_signal(Addr, const void* _data, Pksize _size, double) { take(_data, _size); }
    void on_datagram(Addr, const void* _data, Pksize _size, double) { take(_data, _size); }
    void on_event(const void* _data, Pksize _size, double) { take(_data, _size); }
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) { take(_data, _size); }
    void on_sync(Addr, Sync_model, double, double, const void* _data, const Pksize _size) { take(_data, _size); }
    void on_return(Msg_num, Error _err, const void* _data, Pksize _size, double) {
        _err == 0 ? take(_data, _size) : take(&_err, 1);
    }
    void on_return(Msg_num, Error _err, double) { take(&_err, _err == 0 ? 0 : 1); }

private:
    const Take take;
};

}  // namespace peer
