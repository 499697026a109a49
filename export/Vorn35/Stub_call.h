/// @file
/// Service side of a call: a request with a payload, and exactly one answer with a payload.
#pragma once

#include "Vorn35/Stub.h"
#include "Vorn35/vorn_export.h"

namespace Vorn35 {

class _Stub_call;

/// One operation of a `Stub` that clients call, under a code. `on_call` and `on_call_cancel` of one code run one at a
/// time, those of different codes in parallel. (A member that is attached after `start` has no such order.)
///
/// Requests that wait behind a slow handler are not bounded in number: there is no back-pressure. Neither their time
/// limit nor `_elapsed_time` counts that wait.
///
/// `Stub_call_function` does the same with a function and without buffers.
///
/// @code
/// struct Clock : Vorn35::Stub_call {
///     Clock() : Stub_call(1, sizeof(double)) {}
///     Vorn35::Error on_call(Vorn35::Addr, const void*, Vorn35::Pksize, void* _out_, Vorn35::Pksize* _size_, double,
///                           double) override {
///         const double now = seconds();
///         std::memcpy(_out_, &now, *_size_ = sizeof now);
///         return Vorn35::VORN_ERR_NONE_;
///     }
/// };
/// @endcode
class VORN35_API Stub_call : public virtual Stub {
public:
    /// Integrated: this object, or an object of a class that derives from it, is itself the `Stub`. Before its
    /// destructor begins, call `stop_and_wait`: see `~Stub_call`.
    /// @param _max_return_size capacity of an answer in bytes. With 0, answers have no payload.
    Stub_call(Msg_code _code, Pksize _max_return_size);
    /// Attached to another object, a `Stub` that is not started. Before its destructor begins, call `stop_and_wait`:
    /// see `~Stub_call`.
    Stub_call(Msg_code _code, Pksize _max_return_size, const Stub& _stub);
    Stub_call(const Stub_call&) = delete;
    /// Removes the member. An attached member first stops the whole `Stub`. Destroying an object of a derived class
    /// while a callback runs is a data race on its vtable: first call `stop_and_wait`, or let it outlive `finalize`.
    ~Stub_call() override;

    /// Handles a request. Runs on a listener thread and may call every operation of the runtime. The default answers
    /// with the whole capacity, unwritten.
    /// @param _proxy_addr the client.
    /// @param _in_buf_ payload of the request, valid until the return; null when there is none.
    /// @param _out_buf_ receives the answer; null when the capacity is 0.
    /// @param _out_buf_size_ in: the capacity. Out: size of the answer, at most the capacity. Set it: left alone, it
    ///        sends the whole capacity.
    /// @param _elapsed_time seconds that the request has waited for a listener.
    /// @param _packet_limit_time the limit of the request less that wait. The client may have less time left. Nothing
    ///        stops a handler that takes longer.
    /// @return 0, or an `Error` that the client receives instead of an answer.
    virtual Error on_call(Addr _proxy_addr, const void* _in_buf_, Pksize _in_buf_size, void* _out_buf_,
                          Pksize* _out_buf_size_, double _elapsed_time, double _packet_limit_time);
    /// A client called `Proxy_call::cancel`; or a connection ended while an answer was queued for it; or this process cut
    /// a silent client that had not acknowledged an answer. The message does not say which call it means. It does not interrupt a running `on_call` of this code: it waits until that has returned.
    virtual void on_call_cancel(Addr _proxy_addr, Error _error);

protected:
    /// Inside `on_call`, on its thread: replaces the block of the answer by one of another size, so that an answer may have
    /// any size, whatever the capacity. The bytes that `_out_buf_` points to are gone then. Set `*_out_buf_size_`.
    /// @return the new block; null without memory, or outside `on_call`.
    static void* answer_block(Pksize _size);

private:
    _Stub_call* const _mp;
};

}  // namespace Vorn35
