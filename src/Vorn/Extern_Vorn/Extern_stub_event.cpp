#include "Vorn35/Stub_event.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// An event that a C program publishes.
class Extern_stub_event final : public Stub_event {
public:
    Extern_stub_event(Msg_code _code, const Stub& _object, on_vorn_stub_event_link_ft* _on_event_link_,
                      on_vorn_stub_event_unlink_ft* _on_event_unlink_)
        : Stub(_object),
          Stub_event(_code, _object),
          on_event_link_(_on_event_link_),
          on_event_unlink_(_on_event_unlink_) {}

private:
    Error on_link(Addr _proxy_addr, double _elapsed_time, double _limit_time) override {
        return on_event_link_(inst_of(this), to_c(_proxy_addr), _elapsed_time, _limit_time);
    }
    void on_unlink(Addr _proxy_addr, Error _error) override {
        on_event_unlink_(inst_of(this), to_c(_proxy_addr), _error);
    }

    on_vorn_stub_event_link_ft* const on_event_link_;
    on_vorn_stub_event_unlink_ft* const on_event_unlink_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_event_alloc(Vorn_code _code, Vorn_inst* _object, on_vorn_stub_event_link_ft* _on_event_link_,
                                 on_vorn_stub_event_unlink_ft* _on_event_unlink_) {
    return inst_of(new Extern_stub_event(_code, *adapter_of<Extern_stub>(_object), _on_event_link_, _on_event_unlink_));
}

void vorn_stub_event_free(Vorn_inst* _event_) {
    delete adapter_of<Extern_stub_event>(_event_);
}

void vorn_stub_event_unlink(Vorn_inst* _event_, Vorn_addr _proxy_addr) {
    adapter_of<Extern_stub_event>(_event_)->unlink(from_c(_proxy_addr));
}

void vorn_stub_event_unlink_all_proxy(Vorn_inst* _event_) {
    adapter_of<Extern_stub_event>(_event_)->unlink_all_proxy();
}

Vorn_error vorn_stub_event_event(Vorn_inst* _event_, const void* _buffer_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_event>(_event_)->event(_buffer_, _size);
}

Vorn_error vorn_stub_event_event_nodata(Vorn_inst* _event_) {
    return adapter_of<Extern_stub_event>(_event_)->event();
}
