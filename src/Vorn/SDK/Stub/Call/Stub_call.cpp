#include "Vorn35/Stub_call.h"

#include "Vorn/SDK/Stub/Call/_Stub_call.h"
#include "Vorn/SDK/Stub/_Stub.h"

namespace Vorn35 {

Stub_call::Stub_call(Msg_code _code, Pksize _max_return_size)
    : _mp(new _Stub_call(_op, _code, c_integrated_interface, _max_return_size, this)) {}

Stub_call::Stub_call(Msg_code _code, Pksize _max_return_size, const Stub& _stub)
    : Stub(_stub), _mp((attach(_stub), new _Stub_call(_op, _code, c_each_interface, _max_return_size, this))) {}

Stub_call::~Stub_call() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

Error Stub_call::on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) {
    return VORN_ERR_NONE_;
}

void Stub_call::on_call_cancel(Addr, Error) {}

void* Stub_call::answer_block(Pksize _size) {
    return _Stub_call::answer_block(_size);
}

}  // namespace Vorn35
