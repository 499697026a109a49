#include "Vorn35/Stub_information.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// A value that a C program publishes.
class Extern_stub_information final : public Stub_information {
public:
    Extern_stub_information(Msg_code _code, const Stub& _object,
                            on_vorn_stub_information_link_ft* _on_information_link_,
                            on_vorn_stub_information_unlink_ft* _on_information_unlink_)
        : Stub(_object),
          Stub_information(_code, _object),
          on_information_link_(_on_information_link_),
          on_information_unlink_(_on_information_unlink_) {}

private:
    Error on_link(Addr _proxy_addr, bool _reliability, double _elapsed_time, double _limit_time) override {
        return on_information_link_(inst_of(this), to_c(_proxy_addr), _reliability, _elapsed_time, _limit_time);
    }
    void on_unlink(Addr _proxy_addr, Error _error) override {
        on_information_unlink_(inst_of(this), to_c(_proxy_addr), _error);
    }

    on_vorn_stub_information_link_ft* const on_information_link_;
    on_vorn_stub_information_unlink_ft* const on_information_unlink_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_information_alloc(Vorn_code _code, Vorn_inst* _object,
                                       on_vorn_stub_information_link_ft* _on_information_link_,
                                       on_vorn_stub_information_unlink_ft* _on_information_unlink_) {
    return inst_of(new Extern_stub_information(_code, *adapter_of<Extern_stub>(_object), _on_information_link_,
                                               _on_information_unlink_));
}

void vorn_stub_information_free(Vorn_inst* _information_) {
    delete adapter_of<Extern_stub_information>(_information_);
}

void vorn_stub_information_unlink(Vorn_inst* _information_, Vorn_addr _proxy_addr) {
    adapter_of<Extern_stub_information>(_information_)->unlink(from_c(_proxy_addr));
}

void vorn_stub_information_unlink_all_proxy(Vorn_inst* _information_) {
    adapter_of<Extern_stub_information>(_information_)->unlink_all_proxy();
}

void* vorn_stub_information_get(Vorn_inst* _information_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_information>(_information_)->get(_size);
}

void vorn_stub_information_cancel(Vorn_inst* _information_) {
    adapter_of<Extern_stub_information>(_information_)->cancel();
}

Vorn_error vorn_stub_information_post(Vorn_inst* _information_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_information>(_information_)->post(_size);
}

Vorn_error vorn_stub_information_write(Vorn_inst* _information_, const void* _data_, Vorn_pksize _size) {
    return adapter_of<Extern_stub_information>(_information_)->write(_data_, _size);
}

Vorn_letter_case* vorn_stub_information_see_history(Vorn_inst* _information_, size_t _size) {
    return to_c(adapter_of<Extern_stub_information>(_information_)->see_history(_size));
}

void vorn_stub_information_set_history_size(Vorn_inst* _information_, size_t _history_size) {
    adapter_of<Extern_stub_information>(_information_)->set_history_size(_history_size);
}

Vorn_error vorn_stub_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_) {
    return adapter_of<Extern_stub_information>(_information_)->read(_data_, _size_);
}
