#include "Vorn35/Stub_event.h"

#include "Vorn/SDK/Stub/Event/_Stub_event.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Stub_event::Stub_event(Msg_code _code) : _mp(new _Stub_event(_op, _code, c_integrated_interface, this)) {}

Stub_event::Stub_event(Msg_code _code, const Stub& _stub)
    : Stub(_stub), _mp((attach(_stub), new _Stub_event(_op, _code, c_each_interface, this))) {}

Stub_event::~Stub_event() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

Error Stub_event::on_link(Addr, double, double) {
    return VORN_ERR_NONE_;
}

void Stub_event::on_unlink(Addr, Error) {}

Error Stub_event::event(const void* _buffer_, Pksize _size) {
    const Shared_hold hold;
    return _mp->event(_buffer_, _size);
}

Error Stub_event::event() {
    return event(nullptr, 0);
}

void Stub_event::unlink(Addr _proxy_addr) {
    const Shared_hold hold;
    _mp->disconnect_one_client_object(_proxy_addr);
}

void Stub_event::unlink_all_proxy() {
    const Shared_hold hold;
    _mp->disconnect_all_client_object(true);
}

}  // namespace Vorn35
