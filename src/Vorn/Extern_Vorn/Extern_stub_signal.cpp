#include "Vorn35/Stub_signal.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// A signal that a C program hears. It confirms every one: there is no function in front of the answer.
class Extern_stub_signal final : public Stub_signal {
public:
    Extern_stub_signal(Msg_code _code, const Stub& _object, on_vorn_stub_signal_ft* _on_signal_,
                       on_vorn_stub_signal_cancel_ft* _on_signal_cancel_)
        : Stub(_object),
          Stub_signal(_code, _object, nullptr),
          on_signal_(_on_signal_),
          on_signal_cancel_(_on_signal_cancel_) {}

private:
    void on_signal(Addr _proxy_addr, const void* _buf_, Pksize _buf_size, double _elapsed_time) override {
        on_signal_(inst_of(this), to_c(_proxy_addr), _buf_, _buf_size, _elapsed_time);
    }
    void on_signal_cancel(Addr _proxy_addr, Error _error) override {
        on_signal_cancel_(inst_of(this), to_c(_proxy_addr), _error);
    }

    on_vorn_stub_signal_ft* const on_signal_;
    on_vorn_stub_signal_cancel_ft* const on_signal_cancel_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_signal_alloc(Vorn_code _code, Vorn_inst* _object, on_vorn_stub_signal_ft* _on_signal_,
                                  on_vorn_stub_signal_cancel_ft* _on_signal_cancel_) {
    return inst_of(new Extern_stub_signal(_code, *adapter_of<Extern_stub>(_object), _on_signal_, _on_signal_cancel_));
}

void vorn_stub_signal_free(Vorn_inst* _signal_) {
    delete adapter_of<Extern_stub_signal>(_signal_);
}
