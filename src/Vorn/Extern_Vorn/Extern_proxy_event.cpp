#include "Vorn35/Proxy_event.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// The events of a service, told to a C program.
class Extern_proxy_event final : public Proxy_event {
public:
    Extern_proxy_event(Msg_code _code, const Proxy& _object, on_vorn_proxy_event_link_ft* _on_link_,
                       on_vorn_proxy_event_unlink_ft* _on_unlink_, on_vorn_proxy_event_ft* _on_event_)
        : Proxy(_object),
          Proxy_event(_code, _object),
          on_link_(_on_link_),
          on_unlink_(_on_unlink_),
          on_event_(_on_event_) {}

private:
    void on_link(Msg_num _msg_num, Error _err, double _elapsed_time) override {
        on_link_(inst_of(this), _msg_num, _err, _elapsed_time);
    }
    void on_unlink(Error _err) override { on_unlink_(inst_of(this), _err); }
    void on_event(const void* _event_data_, Pksize _event_size, double _elapsed_time) override {
        on_event_(inst_of(this), _event_data_, _event_size, _elapsed_time);
    }

    on_vorn_proxy_event_link_ft* const on_link_;
    on_vorn_proxy_event_unlink_ft* const on_unlink_;
    on_vorn_proxy_event_ft* const on_event_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_event_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_event_link_ft* _on_link_,
                                  on_vorn_proxy_event_unlink_ft* _on_unlink_, on_vorn_proxy_event_ft* _on_event_) {
    return inst_of(
        new Extern_proxy_event(_code, *adapter_of<Extern_proxy>(_object_), _on_link_, _on_unlink_, _on_event_));
}

void vorn_proxy_event_free(Vorn_inst* _event_) {
    delete adapter_of<Extern_proxy_event>(_event_);
}

bool vorn_proxy_event_is_linked(Vorn_inst* _event_) {
    return adapter_of<Extern_proxy_event>(_event_)->is_linked();
}

Vorn_error vorn_proxy_event_delegate_link(Vorn_inst* _event_, Vorn_msg_num* _msg_num_, double _limit_time) {
    return adapter_of<Extern_proxy_event>(_event_)->delegate_link(_msg_num_, _limit_time);
}

Vorn_promise* vorn_proxy_event_async_link(Vorn_inst* _event_, double _limit_time) {
    return to_c(adapter_of<Extern_proxy_event>(_event_)->async_link(_limit_time));
}

Vorn_error vorn_proxy_event_await_link_return(Vorn_inst* _event_, Vorn_promise* _promise_, double* _time_) {
    return adapter_of<Extern_proxy_event>(_event_)->await_link_return(from_c(_promise_), _time_);
}

void vorn_proxy_event_unlink(Vorn_inst* _event_) {
    adapter_of<Extern_proxy_event>(_event_)->unlink();
}
