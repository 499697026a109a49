#include "Vorn35/Stub_call.h"

#include "Vorn/Extern_Vorn/Extern_stub.h"

namespace Vorn35 {

/// A call that a C program answers.
class Extern_stub_call final : public Stub_call {
public:
    Extern_stub_call(Msg_code _code, Pksize _max_return_size, const Stub& _object, on_vorn_stub_call_ft* _on_call_,
                     on_vorn_stub_call_cancel_ft* _on_call_cancel_)
        : Stub(_object),
          Stub_call(_code, _max_return_size, _object),
          on_call_(_on_call_),
          on_call_cancel_(_on_call_cancel_) {}

private:
    Error on_call(Addr _proxy_addr, const void* _in_buf_, Pksize _in_buf_size, void* _out_buf_, Pksize* _out_buf_size_,
                  double _elapsed_time, double _packet_limit_time) override {
        return on_call_(inst_of(this), to_c(_proxy_addr), _in_buf_, _in_buf_size, _out_buf_, _out_buf_size_,
                        _elapsed_time, _packet_limit_time);
    }
    void on_call_cancel(Addr _proxy_addr, Error _error) override {
        on_call_cancel_(inst_of(this), to_c(_proxy_addr), _error);
    }

    on_vorn_stub_call_ft* const on_call_;
    on_vorn_stub_call_cancel_ft* const on_call_cancel_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_stub_call_alloc(Vorn_code _code, Vorn_pksize _max_return_size, Vorn_inst* _object_,
                                on_vorn_stub_call_ft* _on_call_, on_vorn_stub_call_cancel_ft* _on_call_cancel_) {
    return inst_of(
        new Extern_stub_call(_code, _max_return_size, *adapter_of<Extern_stub>(_object_), _on_call_, _on_call_cancel_));
}

void vorn_stub_call_free(Vorn_inst* _call_) {
    delete adapter_of<Extern_stub_call>(_call_);
}
