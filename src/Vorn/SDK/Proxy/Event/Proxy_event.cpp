#include "Vorn35/Proxy_event.h"

#include "Vorn/SDK/Proxy/Event/_Proxy_event.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Proxy_event::Proxy_event(Msg_code _code) : _mp(new _Proxy_event(_pp, _code, c_integrated_interface, this)) {}

Proxy_event::Proxy_event(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_event(_pp, _code, c_each_interface, this))) {}

Proxy_event::~Proxy_event() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_event::on_unlink(Error) {}

void Proxy_event::on_event(const void*, Pksize, double) {}

void Proxy_event::on_link(Msg_num, Error, double) {}

bool Proxy_event::is_linked() {
    const Shared_hold hold;
    return _mp->is_linked();
}

Error Proxy_event::delegate_link(Msg_num* _msg_num_, double _limit_time) {
    const Shared_hold hold;
    return _mp->delegate_link(EMsg::delegate_event_connect, _msg_num_, _limit_time);
}

Promise_ Proxy_event::async_link(double _limit_time) {
    const Shared_hold hold;
    return _mp->async_link(EMsg::event_connect, _limit_time);
}

Error Proxy_event::await_link_return(Promise_ _promise_, double* _time_) {
    return _mp->await_link_return(_promise_, _time_);
}

void Proxy_event::unlink() {
    const Shared_hold hold;
    _mp->disconnect(true);
}

}  // namespace Vorn35
