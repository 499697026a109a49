#include "Vorn35/Proxy_command.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// A value that a C program writes to a service.
class Extern_proxy_command final : public Proxy_command {
public:
    Extern_proxy_command(Msg_code _code, const Proxy& _object, on_vorn_proxy_command_link_ft* _on_link_,
                         on_vorn_proxy_command_unlink_ft* _on_unlink_)
        : Proxy(_object), Proxy_command(_code, _object), on_link_(_on_link_), on_unlink_(_on_unlink_) {}

private:
    void on_link(Msg_num _msg_num, Error _err, double _elapsed_time) override {
        on_link_(inst_of(this), _msg_num, _err, _elapsed_time);
    }
    void on_unlink(Error _err) override { on_unlink_(inst_of(this), _err); }

    on_vorn_proxy_command_link_ft* const on_link_;
    on_vorn_proxy_command_unlink_ft* const on_unlink_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_command_alloc(Vorn_code _code, Vorn_inst* _object_, on_vorn_proxy_command_link_ft* _on_link_,
                                    on_vorn_proxy_command_unlink_ft* _on_unlink_) {
    return inst_of(new Extern_proxy_command(_code, *adapter_of<Extern_proxy>(_object_), _on_link_, _on_unlink_));
}

void vorn_proxy_command_free(Vorn_inst* _command_) {
    delete adapter_of<Extern_proxy_command>(_command_);
}

bool vorn_proxy_command_is_linked(Vorn_inst* _command_) {
    return adapter_of<Extern_proxy_command>(_command_)->is_linked();
}

Vorn_error vorn_proxy_command_delegate_link(Vorn_inst* _command_, Vorn_msg_num* _msg_num_, double _limit_time) {
    return adapter_of<Extern_proxy_command>(_command_)->delegate_link(_msg_num_, _limit_time);
}

Vorn_promise* vorn_proxy_command_async_link(Vorn_inst* _command_, double _limit_time) {
    return to_c(adapter_of<Extern_proxy_command>(_command_)->async_link(_limit_time));
}

Vorn_error vorn_proxy_command_await_link_return(Vorn_inst* _command_, Vorn_promise* _promise_, double* _time_) {
    return adapter_of<Extern_proxy_command>(_command_)->await_link_return(from_c(_promise_), _time_);
}

void vorn_proxy_command_unlink(Vorn_inst* _command_) {
    adapter_of<Extern_proxy_command>(_command_)->unlink();
}

void vorn_proxy_command_set_sync_model(Vorn_inst* _command_, bool _reliability, Vorn_sync_model _sync_model,
                                       double _interval) {
    adapter_of<Extern_proxy_command>(_command_)->set_sync_model(_reliability, static_cast<Sync_model>(_sync_model),
                                                                _interval);
}

void* vorn_proxy_command_get(Vorn_inst* _command_, Vorn_pksize _size) {
    return adapter_of<Extern_proxy_command>(_command_)->get(_size);
}

void vorn_proxy_command_cancel(Vorn_inst* _command_) {
    adapter_of<Extern_proxy_command>(_command_)->cancel();
}

Vorn_error vorn_proxy_command_post(Vorn_inst* _command_, Vorn_pksize _size) {
    return adapter_of<Extern_proxy_command>(_command_)->post(_size);
}

Vorn_error vorn_proxy_command_write(Vorn_inst* _command_, const void* _data_, Vorn_pksize _size) {
    return adapter_of<Extern_proxy_command>(_command_)->write(_data_, _size);
}

Vorn_letter_case* vorn_proxy_command_see_history(Vorn_inst* _command_, size_t _size) {
    return to_c(adapter_of<Extern_proxy_command>(_command_)->see_history(_size));
}

void vorn_proxy_command_set_history_size(Vorn_inst* _command_, size_t _history_size) {
    adapter_of<Extern_proxy_command>(_command_)->set_history_size(_history_size);
}

Vorn_error vorn_proxy_command_read(Vorn_inst* _command_, void* _data_, Vorn_pksize* _size_) {
    return adapter_of<Extern_proxy_command>(_command_)->read(_data_, _size_);
}
