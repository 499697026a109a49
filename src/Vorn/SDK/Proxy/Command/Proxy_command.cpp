#include "Vorn35/Proxy_command.h"

#include "Vorn/SDK/Proxy/Command/_Proxy_command.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Proxy_command::Proxy_command(Msg_code _code) : _mp(new _Proxy_command(_pp, _code, c_integrated_interface, this)) {}

Proxy_command::Proxy_command(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_command(_pp, _code, c_each_interface, this))) {}

Proxy_command::~Proxy_command() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_command::on_unlink(Error) {}

void Proxy_command::on_link(Msg_num, Error, double) {}

bool Proxy_command::is_linked() {
    const Shared_hold hold;
    return _mp->is_linked();
}

Error Proxy_command::delegate_link(Msg_num* _msg_num_, double _limit_time) {
    const Shared_hold hold;
    return _mp->delegate_link(EMsg::delegate_command_connect, _msg_num_, _limit_time);
}

Promise_ Proxy_command::async_link(double _limit_time) {
    const Shared_hold hold;
    return _mp->async_link(EMsg::command_connect, _limit_time);
}

Error Proxy_command::await_link_return(Promise_ _promise_, double* _time_) {
    return _mp->await_link_return(_promise_, _time_);
}

void Proxy_command::unlink() {
    const Shared_hold hold;
    _mp->disconnect(true);
}

void Proxy_command::set_sync_model(bool _reliability, Sync_model _sync_model, double _interval) {
    _mp->using_udp = !_reliability;
    _mp->set_sync_model(_sync_model, _interval);
}

void* Proxy_command::get(Pksize _size) {
    return _mp->get(_size);
}

void Proxy_command::cancel() {
    _mp->cancel();
}

Error Proxy_command::post(Pksize _size) {
    return _mp->post(_size);
}

Error Proxy_command::write(const void* _data_, Pksize _size) {
    return _mp->write(_data_, _size);
}

Letter_case_ Proxy_command::see_history(std::size_t _size) {
    return _mp->snapshot(_size);
}

void Proxy_command::set_history_size(std::size_t _history_size) {
    _mp->set_history_size(_history_size);
}

Error Proxy_command::read(void* _data_, Pksize* _size_) {
    return _mp->read(_data_, _size_);
}

}  // namespace Vorn35
