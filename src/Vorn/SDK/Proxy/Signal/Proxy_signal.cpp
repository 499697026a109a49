#include "Vorn35/Proxy_signal.h"

#include "Vorn/SDK/Proxy/Promise.h"
#include "Vorn/SDK/Proxy/Signal/_Proxy_signal.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Proxy_signal::Proxy_signal(Msg_code _code) : _mp(new _Proxy_signal(_pp, _code, c_integrated_interface, this)) {}

Proxy_signal::Proxy_signal(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_signal(_pp, _code, c_each_interface, this))) {}

Proxy_signal::~Proxy_signal() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_signal::on_return(Msg_num, Error, double) {}

Error Proxy_signal::delegate_signal(Msg_num* _msg_num_, const void* _signal_data_, Pksize _signal_size,
                                    double _limit_time) {
    const Shared_hold hold;
    return delegate_request(_pp, {EMsg::delegate_signal, _mp->code, _signal_data_, _signal_size, _limit_time},
                            _msg_num_);
}

Promise_ Proxy_signal::async_signal(const void* _signal_data_, Pksize _signal_size, double _limit_time) {
    const Shared_hold hold;
    return async_request(_pp, {EMsg::signal, _mp->code, _signal_data_, _signal_size, _limit_time});
}

Error Proxy_signal::await_return(Promise_ _promise_, double* _time_) {
    return await_answer(_pp, _promise_, _time_,
                        [](Token _answer) { return _answer.get_header_packet()->header.error; });
}

Error Proxy_signal::signal(const void* _signal_data_, Pksize _signal_size, double _limit_time, double* _time_) {
    return await_return(async_signal(_signal_data_, _signal_size, _limit_time), _time_);
}

void Proxy_signal::cancel(Error _error) {
    const Shared_hold hold;
    if (_pp->is_created()) send_notice(_pp, EMsg::signal_cancel, _mp->code, 0, _error, c_loopback_ip);
}

}  // namespace Vorn35
