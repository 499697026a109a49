#include "Vorn35/Proxy_datagram.h"

#include "Vorn/SDK/Proxy/Datagram/_Proxy_datagram.h"
#include "Vorn/SDK/Proxy/_Proxy.h"

namespace Vorn35 {

Proxy_datagram::Proxy_datagram(Msg_code _code) : _mp(new _Proxy_datagram(_pp, _code, c_integrated_interface, this)) {}

Proxy_datagram::Proxy_datagram(Msg_code _code, const Proxy& _proxy_object)
    : Proxy(_proxy_object), _mp((attach(_proxy_object), new _Proxy_datagram(_pp, _code, c_each_interface, this))) {}

Proxy_datagram::~Proxy_datagram() {
    if (_mp->b_interface == c_each_interface) detach();
    end_member(_mp, _mp->_pp->dispatches);
}

void Proxy_datagram::on_datagram(Addr, const void*, Pksize, double) {}

}  // namespace Vorn35
