#include "Vorn35/Stub_datagram.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// A datagram that a C program sends. There is nothing to be told of.
class Extern_stub_datagram final : public Stub_datagram {
public:
    Extern_stub_datagram(Msg_code _code, const Stub& _object) : Stub(_object), Stub_datagram(_code, _object) {}
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_datagram_alloc(Vorn_code _code, Vorn_inst* _object) {
    return inst_of(new Extern_stub_datagram(_code, *adapter_of<Extern_stub>(_object)));
}

void vorn_stub_datagram_free(Vorn_inst* _datagram_) {
    delete adapter_of<Extern_stub_datagram>(_datagram_);
}

Vorn_error vorn_stub_datagram_broadcast(Vorn_inst* _datagram_, const void* _data_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_datagram>(_datagram_)->broadcast(_data_, _size);
}

Vorn_error vorn_stub_datagram_cast(Vorn_inst* _datagram_, Vorn_ip _ip, const void* _data_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_datagram>(_datagram_)->cast(_ip, _data_, _size);
}
