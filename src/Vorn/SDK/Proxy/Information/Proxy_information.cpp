#include "Vorn35/Proxy_information.h"

#include "Vorn/SDK/Proxy/Information/_Proxy_information.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Proxy_information::Proxy_information(Msg_code _code)
    : _mp(new _Proxy_information(_pp, _code, c_integrated_interface, this)) {}

Proxy_information::Proxy_information(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_information(_pp, _code, c_each_interface, this))) {}

Proxy_information::~Proxy_information() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_information::on_unlink(Error) {}

void Proxy_information::on_link(Msg_num, Error, double) {}

void Proxy_information::on_sync(Sync_model, double, double, const void*, Pksize) {}

bool Proxy_information::is_linked() {
    const Shared_hold hold;
    return _mp->is_linked();
}

Error Proxy_information::delegate_link(Msg_num* _msg_num_, bool _reliability, double _limit_time) {
    const Shared_hold hold;
    return _mp->delegate_link(
        _reliability ? EMsg::delegate_information_tcp_connect : EMsg::delegate_information_udp_connect, _msg_num_,
        _limit_time);
}

Promise_ Proxy_information::async_link(bool _reliability, double _limit_time) {
    const Shared_hold hold;
    return _mp->async_link(_reliability ? EMsg::information_tcp_connect : EMsg::information_udp_connect, _limit_time);
}

Error Proxy_information::await_link_return(Promise_ _promise_, double* _time_) {
    return _mp->await_link_return(_promise_, _time_);
}

void Proxy_information::unlink() {
    const Shared_hold hold;
    _mp->drop_membership();
    _mp->disconnect(true);
}

void Proxy_information::set_sync(bool _use_on_sync) {
    _mp->use_on_sync = _use_on_sync;
}

void Proxy_information::set_history_size(std::size_t _history_size) {
    _mp->history_size = _history_size;
}

Letter_case_ Proxy_information::see_history(std::size_t _size) {
    const Shared_hold hold;
    return _mp->see_history(_size);
}

Error Proxy_information::read(void* _data_, Pksize* _size_) {
    const Shared_hold hold;
    if (!_pp->is_created()) return VORN_ERR_IS_NOT_CREATED_;
    return read_newest(_mp->see_history(1), _data_, _size_);
}

}  // namespace Vorn35
