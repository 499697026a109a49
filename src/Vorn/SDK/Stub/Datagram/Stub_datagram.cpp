#include "Vorn35/Stub_datagram.h"

#include "Vorn/SDK/Stub/Datagram/_Stub_datagram.h"
#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn/const.h"

namespace Vorn35 {

Stub_datagram::Stub_datagram(Msg_code _code) : _mp(new _Stub_datagram(_op, _code, c_integrated_interface)) {}

Stub_datagram::Stub_datagram(Msg_code _code, const Stub& _stub)
    : Stub(_stub), _mp((attach(_stub), new _Stub_datagram(_op, _code, c_each_interface))) {}

Stub_datagram::~Stub_datagram() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_op->dispatches);
}

Error Stub_datagram::cast(IP _ip, const void* _datagram_data_, Pksize _datagram_size) {
    const Shared_hold hold;
    return _mp->cast(_ip, _datagram_data_, _datagram_size);
}

Error Stub_datagram::broadcast(const void* _datagram_data_, Pksize _datagram_size) {
    return cast(c_broadcast_ip, _datagram_data_, _datagram_size);
}

}  // namespace Vorn35
