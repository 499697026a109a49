#include "Vorn/Extern_Vorn/Extern_stub.h"

using namespace Vorn35;

Vorn_inst* vorn_stub_alloc(on_vorn_stub_connect_ft* _on_connect_, on_vorn_stub_disconnect_ft* _on_disconnect_) {
    return inst_of(new Extern_stub(_on_connect_, _on_disconnect_));
}

void vorn_stub_free(Vorn_inst* _object_) {
    delete adapter_of<Extern_stub>(_object_);
}

Vorn_error vorn_stub_start(Vorn_inst* _object_, const char* _name_, Vorn_port* _port_) {
    return adapter_of<Extern_stub>(_object_)->start(_name_, _port_);
}

Vorn_error vorn_stub_stop(Vorn_inst* _object_) {
    return adapter_of<Extern_stub>(_object_)->stop();
}

Vorn_error vorn_stub_stop_and_wait(Vorn_inst* _object_, double _limit) {
    return adapter_of<Extern_stub>(_object_)->stop_and_wait(_limit);
}

bool vorn_stub_is_started(Vorn_inst* _object_) {
    return adapter_of<Extern_stub>(_object_)->is_started();
}
