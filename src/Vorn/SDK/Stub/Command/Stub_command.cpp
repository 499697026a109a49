#include "Vorn35/Stub_command.h"

#include "Vorn/SDK/Stub/Command/_Stub_command.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Stub_command::Stub_command(Msg_code _code) : _mp(new _Stub_command(_op, _code, c_integrated_interface, this)) {}

Stub_command::Stub_command(Msg_code _code, const Stub& _stub)
    : Stub(_stub), _mp((attach(_stub), new _Stub_command(_op, _code, c_each_interface, this))) {}

Stub_command::~Stub_command() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

void Stub_command::on_sync(Addr, Sync_model, double, double, const void*, const Pksize) {}

Error Stub_command::on_link(Addr, double, double) {
    return VORN_ERR_NONE_;
}

void Stub_command::on_unlink(Addr, Error) {}

void Stub_command::unlink(Addr _proxy_addr) {
    const Shared_hold hold;
    _mp->disconnect_one_client_object(_proxy_addr);
}

void Stub_command::unlink_all_proxy() {
    const Shared_hold hold;
    _mp->disconnect_all_client_object(true);
}

void Stub_command::set_sync(bool _use_on_sync) {
    _mp->use_on_sync = _use_on_sync;
}

void Stub_command::set_history_size(std::size_t _history_size) {
    _mp->history_size = _history_size;
}

Letter_case_ Stub_command::see_history(Addr _proxy_addr, std::size_t _size) {
    const Shared_hold hold;
    return _mp->see_history(_proxy_addr, _size);
}

Error Stub_command::read(Addr _proxy_addr, void* _data_, Pksize* _size_) {
    const Shared_hold hold;
    if (!_op->is_created()) return VORN_ERR_IS_NOT_CREATED_;
    return read_newest(_mp->see_history(_proxy_addr, 1), _data_, _size_);
}

}  // namespace Vorn35
