#include "Vorn/Extern_Vorn/Extern_proxy.h"

using namespace Vorn35;

Vorn_inst* vorn_proxy_alloc(on_vorn_proxy_connect_ft* _on_connect_, on_vorn_proxy_disconnect_ft* _on_disconnect_) {
    return inst_of(new Extern_proxy(_on_connect_, _on_disconnect_));
}

void vorn_proxy_free(Vorn_inst* _object_) {
    delete adapter_of<Extern_proxy>(_object_);
}

Vorn_error vorn_proxy_start(Vorn_inst* _object_, Vorn_addr _stub_addr) {
    return adapter_of<Extern_proxy>(_object_)->start(from_c(_stub_addr));
}

Vorn_error vorn_proxy_stop(Vorn_inst* _object_) {
    return adapter_of<Extern_proxy>(_object_)->stop();
}

bool vorn_proxy_is_connected(Vorn_inst* _object_) {
    return adapter_of<Extern_proxy>(_object_)->is_connected();
}

Vorn_error vorn_proxy_stop_and_wait(Vorn_inst* _object_, double _limit) {
    return adapter_of<Extern_proxy>(_object_)->stop_and_wait(_limit);
}

bool vorn_proxy_is_started(Vorn_inst* _object_) {
    return adapter_of<Extern_proxy>(_object_)->is_started();
}

Vorn_error vorn_proxy_get_address(Vorn_inst* _object_, Vorn_addr* _proxy_addr_, Vorn_addr* _stub_addr_) {
    Addr proxy_addr;
    Addr stub_addr;
    const Error err = adapter_of<Extern_proxy>(_object_)->get_address(&proxy_addr, &stub_addr);
    if (err == 0) {
        *_proxy_addr_ = to_c(proxy_addr);
        *_stub_addr_ = to_c(stub_addr);
    }
    return err;
}
