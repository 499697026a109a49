#include "Vorn35/Stub_command.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// A value that clients write to a C program.
class Extern_stub_command final : public Stub_command {
public:
    Extern_stub_command(Msg_code _code, const Stub& _object, on_vorn_stub_command_sync_ft* _on_command_sync_,
                        on_vorn_stub_command_link_ft* _on_command_link_,
                        on_vorn_stub_command_unlink_ft* _on_command_unlink_)
        : Stub(_object),
          Stub_command(_code, _object),
          on_command_sync_(_on_command_sync_),
          on_command_link_(_on_command_link_),
          on_command_unlink_(_on_command_unlink_) {}

private:
    void on_sync(Addr _proxy_addr, Sync_model _sync_model, double _elapsed_time, double _limit, const void* _buffer_,
                 const Pksize _size) override {
        on_command_sync_(inst_of(this), to_c(_proxy_addr), _sync_model, _elapsed_time, _limit, _buffer_, _size);
    }
    Error on_link(Addr _proxy_addr, double _elapsed_time, double _limit_time) override {
        return on_command_link_(inst_of(this), to_c(_proxy_addr), _elapsed_time, _limit_time);
    }
    void on_unlink(Addr _proxy_addr, Error _error) override {
        on_command_unlink_(inst_of(this), to_c(_proxy_addr), _error);
    }

    on_vorn_stub_command_sync_ft* const on_command_sync_;
    on_vorn_stub_command_link_ft* const on_command_link_;
    on_vorn_stub_command_unlink_ft* const on_command_unlink_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_command_alloc(Vorn_code _code, Vorn_inst* _object, on_vorn_stub_command_sync_ft* _on_command_sync_,
                                   on_vorn_stub_command_link_ft* _on_command_link_,
                                   on_vorn_stub_command_unlink_ft* _on_command_unlink_) {
    return inst_of(new Extern_stub_command(_code, *adapter_of<Extern_stub>(_object), _on_command_sync_,
                                           _on_command_link_, _on_command_unlink_));
}

void vorn_stub_command_free(Vorn_inst* _command_) {
    delete adapter_of<Extern_stub_command>(_command_);
}

void vorn_stub_command_unlink(Vorn_inst* _command_, Vorn_addr _proxy_addr) {
    adapter_of<Extern_stub_command>(_command_)->unlink(from_c(_proxy_addr));
}

void vorn_stub_command_unlink_all_proxy(Vorn_inst* _command_) {
    adapter_of<Extern_stub_command>(_command_)->unlink_all_proxy();
}

void vorn_stub_command_set_sync(Vorn_inst* _command_, bool _use_on_sync) {
    adapter_of<Extern_stub_command>(_command_)->set_sync(_use_on_sync);
}

Vorn_letter_case* vorn_stub_command_see_history(Vorn_inst* _command_, Vorn_addr _proxy_addr, size_t _size) {
    return to_c(adapter_of<Extern_stub_command>(_command_)->see_history(from_c(_proxy_addr), _size));
}

void vorn_stub_command_set_history_size(Vorn_inst* _command_, size_t _history_size) {
    adapter_of<Extern_stub_command>(_command_)->set_history_size(_history_size);
}

Vorn_error vorn_stub_command_read(Vorn_inst* _command_, Vorn_addr _proxy_addr, void* _data_, Vorn_pksize* _size_) {
    return adapter_of<Extern_stub_command>(_command_)->read(from_c(_proxy_addr), _data_, _size_);
}
