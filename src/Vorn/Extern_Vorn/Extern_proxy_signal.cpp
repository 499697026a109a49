#include "Vorn35/Proxy_signal.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// A signal that a C program sends.
class Extern_proxy_signal final : public Proxy_signal {
public:
    Extern_proxy_signal(Msg_code _code, const Proxy& _object, on_vorn_proxy_signal_return_ft* _on_return_)
        : Proxy(_object), Proxy_signal(_code, _object), on_return_(_on_return_) {}

private:
    void on_return(Msg_num _msg_num, Error _err, double _elapsed_time) override {
        on_return_(inst_of(this), _msg_num, _err, _elapsed_time);
    }

    on_vorn_proxy_signal_return_ft* const on_return_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_signal_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_signal_return_ft* _on_return_) {
    return inst_of(new Extern_proxy_signal(_code, *adapter_of<Extern_proxy>(_object_), _on_return_));
}

void vorn_proxy_signal_free(Vorn_inst* _signal_) {
    delete adapter_of<Extern_proxy_signal>(_signal_);
}

Vorn_error vorn_proxy_signal_delegate_signal(Vorn_inst* _signal_, Vorn_seq* _seq_, const void* _sig_data_,
                                             Vorn_pksize _sig_size, double _limit_time) {
    return adapter_of<Extern_proxy_signal>(_signal_)->delegate_signal(lower_half_of(_seq_), _sig_data_, _sig_size,
                                                                      _limit_time);
}

Vorn_promise* vorn_proxy_signal_async_signal(Vorn_inst* _signal_, const void* _signal_data_, Vorn_pksize _call_size,
                                             double _limit_time) {
    return to_c(adapter_of<Extern_proxy_signal>(_signal_)->async_signal(_signal_data_, _call_size, _limit_time));
}

Vorn_error vorn_proxy_signal_await_return(Vorn_inst* _signal_, Vorn_promise* _ret_promise, double* _time_) {
    return adapter_of<Extern_proxy_signal>(_signal_)->await_return(from_c(_ret_promise), _time_);
}

Vorn_error vorn_proxy_signal_signal(Vorn_inst* _signal_, const void* _signal_data_, const Vorn_pksize _signal_size,
                                    double _limit_time, double* _time_) {
    return adapter_of<Extern_proxy_signal>(_signal_)->signal(_signal_data_, _signal_size, _limit_time, _time_);
}

void vorn_proxy_signal_cancel(Vorn_inst* _signal_, Vorn_error _error) {
    adapter_of<Extern_proxy_signal>(_signal_)->cancel(_error);
}
