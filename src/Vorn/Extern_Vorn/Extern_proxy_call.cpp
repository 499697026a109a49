#include "Vorn35/Proxy_call.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// A call that a C program makes.
class Extern_proxy_call final : public Proxy_call {
public:
    Extern_proxy_call(Msg_code _code, const Proxy& _object, on_vorn_proxy_call_return_ft* _on_return_)
        : Proxy(_object), Proxy_call(_code, _object), on_return_(_on_return_) {}

private:
    void on_return(Msg_num _msg_num, Error _err, const void* _ret_data_, Pksize _ret_size,
                   double _elapsed_time) override {
        on_return_(inst_of(this), _msg_num, _err, _ret_data_, _ret_size, _elapsed_time);
    }

    on_vorn_proxy_call_return_ft* const on_return_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_call_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_call_return_ft* _on_return_) {
    return inst_of(new Extern_proxy_call(_code, *adapter_of<Extern_proxy>(_object_), _on_return_));
}

void vorn_proxy_call_free(Vorn_inst* _call_) {
    delete adapter_of<Extern_proxy_call>(_call_);
}

Vorn_error vorn_proxy_call_delegate_call(Vorn_inst* _call_, Vorn_seq* _seq_, const void* _call_data_,
                                         Vorn_pksize _call_size, double _limit_time) {
    return adapter_of<Extern_proxy_call>(_call_)->delegate_call(lower_half_of(_seq_), _call_data_, _call_size,
                                                                _limit_time);
}

Vorn_promise* vorn_proxy_call_async_call(Vorn_inst* _call_, const void* _call_data_, Vorn_pksize _call_size,
                                         double _limit_time) {
    return to_c(adapter_of<Extern_proxy_call>(_call_)->async_call(_call_data_, _call_size, _limit_time));
}

Vorn_error vorn_proxy_call_await_return(Vorn_inst* _call_, Vorn_promise* _promise_, void* _return_data_,
                                        Vorn_pksize* _size_, double* _time_) {
    return adapter_of<Extern_proxy_call>(_call_)->await_return(from_c(_promise_), _return_data_, _size_, _time_);
}

void vorn_proxy_call_cancel(Vorn_inst* _call_, Vorn_error _error) {
    adapter_of<Extern_proxy_call>(_call_)->cancel(_error);
}
