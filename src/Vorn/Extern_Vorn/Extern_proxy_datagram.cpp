#include "Vorn35/Proxy_datagram.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// The datagrams of a service, told to a C program.
class Extern_proxy_datagram final : public Proxy_datagram {
public:
    Extern_proxy_datagram(Msg_code _code, const Proxy& _object, on_vorn_proxy_datagram_cast_ft* _on_datagram_)
        : Proxy(_object), Proxy_datagram(_code, _object), on_datagram_(_on_datagram_) {}

private:
    void on_datagram(Addr _stub_addr, const void* _buf_, Pksize _size, double _elapsed_time) override {
        on_datagram_(inst_of(this), to_c(_stub_addr), _buf_, _size, _elapsed_time);
    }

    on_vorn_proxy_datagram_cast_ft* const on_datagram_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_datagram_alloc(Vorn_code _code, Vorn_inst* _object_,
                                     on_vorn_proxy_datagram_cast_ft* _on_datagram_) {
    return inst_of(new Extern_proxy_datagram(_code, *adapter_of<Extern_proxy>(_object_), _on_datagram_));
}

void vorn_proxy_datagram_free(Vorn_inst* _datagram_) {
    delete adapter_of<Extern_proxy_datagram>(_datagram_);
}
