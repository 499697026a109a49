#include "Vorn35/Stub_signal.h"

#include "Vorn/SDK/Stub/Signal/_Stub_signal.h"
#include "Vorn/SDK/Stub/_Stub.h"

namespace Vorn35 {

Stub_signal::Stub_signal(Msg_code _code) : _mp(new _Stub_signal(_op, _code, c_integrated_interface, nullptr, this)) {}

Stub_signal::Stub_signal(Msg_code _code, const Stub& _stub, on_signal_sync_t* _on_signal_sync__)
    : Stub(_stub), _mp((attach(_stub), new _Stub_signal(_op, _code, c_each_interface, _on_signal_sync__, this))) {}

Stub_signal::~Stub_signal() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

void Stub_signal::on_signal(Addr, const void*, Pksize, double) {}

void Stub_signal::on_signal_cancel(Addr, Error) {}

}  // namespace Vorn35
