#include "Vorn35/Stub_information.h"

#include "Vorn/SDK/Stub/Information/_Stub_information.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Stub_information::Stub_information(Msg_code _code)
    : _mp(new _Stub_information(_op, _code, c_integrated_interface, this)) {}

Stub_information::Stub_information(Msg_code _code, const Stub& _stub)
    : Stub(_stub), _mp((attach(_stub), new _Stub_information(_op, _code, c_each_interface, this))) {}

Stub_information::~Stub_information() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

Error Stub_information::on_link(Addr, bool, double, double) {
    return VORN_ERR_NONE_;
}

void Stub_information::on_unlink(Addr, Error) {}

void* Stub_information::get(Pksize _size) {
    return _mp->get(_size);
}

void Stub_information::cancel() {
    _mp->cancel();
}

Error Stub_information::post(Pksize _size) {
    return _mp->post(_size);
}

Error Stub_information::write(const void* _data_, Pksize _size) {
    return _mp->write(_data_, _size);
}

void Stub_information::set_sync_model(Sync_model _sync_model, double _interval) {
    _mp->set_sync_model(_sync_model, _interval);
}

Letter_case_ Stub_information::see_history(std::size_t _size) {
    const Shared_hold hold;
    return _op->is_created() ? _mp->snapshot(_size) : nullptr;
}

void Stub_information::set_history_size(std::size_t _history_size) {
    _mp->set_history_size(_history_size);
}

Error Stub_information::read(void* _data_, Pksize* _size_) {
    return _mp->read(_data_, _size_);
}

void Stub_information::unlink(Addr _proxy_addr) {
    const Shared_hold hold;
    _mp->disconnect_one_client_object(_proxy_addr);
}

void Stub_information::unlink_all_proxy() {
    const Shared_hold hold;
    _mp->disconnect_all_client_object(true);
}

}  // namespace Vorn35
