#include "Vorn35/Proxy_information.h"

#include "Vorn/Extern_Vorn/Extern_proxy.h"

namespace Vorn35 {

/// A value of a service, told to a C program.
class Extern_proxy_information final : public Proxy_information {
public:
    Extern_proxy_information(Msg_code _code, const Proxy& _object, on_vorn_proxy_information_link_ft* _on_link_,
                             on_vorn_proxy_information_unlink_ft* _on_unlink_,
                             on_vorn_proxy_information_sync_ft* _on_sync_)
        : Proxy(_object),
          Proxy_information(_code, _object),
          on_link_(_on_link_),
          on_unlink_(_on_unlink_),
          on_sync_(_on_sync_) {}

private:
    void on_link(Msg_num _msg_num, Error _err, double _elapsed_time) override {
        on_link_(inst_of(this), _msg_num, _err, _elapsed_time);
    }
    void on_unlink(Error _err) override { on_unlink_(inst_of(this), _err); }
    void on_sync(Sync_model _sync_model, double _elapsed_time, double _limit, const void* _buffer_,
                 Pksize _size) override {
        on_sync_(inst_of(this), _sync_model, _elapsed_time, _limit, _buffer_, _size);
    }

    on_vorn_proxy_information_link_ft* const on_link_;
    on_vorn_proxy_information_unlink_ft* const on_unlink_;
    on_vorn_proxy_information_sync_ft* const on_sync_;
};

}  // namespace Vorn35

using namespace Vorn35;

Vorn_inst* vorn_proxy_information_alloc(Vorn_code _code, Vorn_inst* _object_,
                                        on_vorn_proxy_information_link_ft* _on_link_,
                                        on_vorn_proxy_information_unlink_ft* _on_unlink_,
                                        on_vorn_proxy_information_sync_ft* _on_sync_) {
    return inst_of(
        new Extern_proxy_information(_code, *adapter_of<Extern_proxy>(_object_), _on_link_, _on_unlink_, _on_sync_));
}

void vorn_proxy_information_free(Vorn_inst* _information_) {
    delete adapter_of<Extern_proxy_information>(_information_);
}

bool vorn_proxy_information_is_linked(Vorn_inst* _information_) {
    return adapter_of<Extern_proxy_information>(_information_)->is_linked();
}

Vorn_error vorn_proxy_information_delegate_link(Vorn_inst* _information_, Vorn_msg_num* _msg_num_, double _limit_time) {
    // The argument has the place of a limit and chooses the transport; programs count on it.
    constexpr double limit_time = 1.0;
    return adapter_of<Extern_proxy_information>(_information_)
        ->delegate_link(_msg_num_, _limit_time != 0.0, limit_time);
}

Vorn_promise* vorn_proxy_information_async_link(Vorn_inst* _information_, bool _reliability, double _limit_time) {
    return to_c(adapter_of<Extern_proxy_information>(_information_)->async_link(_reliability, _limit_time));
}

Vorn_error vorn_proxy_information_await_link_return(Vorn_inst* _information_, Vorn_promise* _promise_, double* _time_) {
    return adapter_of<Extern_proxy_information>(_information_)->await_link_return(from_c(_promise_), _time_);
}

void vorn_proxy_information_unlink(Vorn_inst* _information_) {
    adapter_of<Extern_proxy_information>(_information_)->unlink();
}

void vorn_proxy_information_set_sync(Vorn_inst* _information_, bool _use_on_sync) {
    adapter_of<Extern_proxy_information>(_information_)->set_sync(_use_on_sync);
}

Vorn_letter_case* vorn_proxy_information_see_history(Vorn_inst* _information_, size_t _size) {
    return to_c(adapter_of<Extern_proxy_information>(_information_)->see_history(_size));
}

void vorn_proxy_information_set_history_size(Vorn_inst* _information_, size_t _history_size) {
    adapter_of<Extern_proxy_information>(_information_)->set_history_size(_history_size);
}

Vorn_error vorn_proxy_information_read(Vorn_inst* _information_, void* _data_, Vorn_pksize* _size_) {
    return adapter_of<Extern_proxy_information>(_information_)->read(_data_, _size_);
}
