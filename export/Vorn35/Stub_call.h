/// @file
/// Service side of a call: a request with a payload, and exactly one answer with a payload.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_call;

/// One callable operation of a `Stub`, under a code. Calls of one code run one at a time, calls of different codes
/// side by side. (A member that is attached after `start` has no such order.)
///
/// Requests that wait for their turn behind a slow handler are not bounded in number, and neither their time limit
/// nor `_elapsed_time` counts that wait.
class VORN35_API Stub_call : public virtual Stub {
public:
    /// Integrated into an application class that is a `Stub`.
    /// @param _max_return_size capacity of an answer in bytes; 0: answers carry no payload.
    Stub_call(Msg_code _code, Pksize _max_return_size);
    /// Attached to an existing `Stub`.
    Stub_call(Msg_code _code, Pksize _max_return_size, const Stub& _stub);
    Stub_call(const Stub_call&) = delete;
    ~Stub_call() override;

    /// A request has come. Runs on a listener thread; every operation of the runtime may be called.
    /// @param _in_buf_ the request's payload; valid until the return. Null when there is none.
    /// @param _out_buf_ where the answer goes; null when the capacity is 0.
    /// @param _out_buf_size_ in: the capacity. Out: the bytes written, at most the capacity.
    /// @param _elapsed_time seconds that the request has lived so far.
    /// @param _packet_limit_time seconds that the caller still waits. Nothing stops a handler that takes longer.
    /// @return 0, or an `Error` that the caller receives instead of an answer.
    virtual Error on_call(Addr _proxy_addr, const void* _in_buf_, Pksize _in_buf_size, void* _out_buf_,
                          Pksize* _out_buf_size_, double _elapsed_time, double _packet_limit_time);
    /// A client has given up a call of this code, or an answer could not be delivered. Which call, is not
    /// told.
    virtual void on_call_cancel(Addr _proxy_addr, Error _error);

private:
    _Stub_call* const _mp;
};

}  // namespace Vorn35
