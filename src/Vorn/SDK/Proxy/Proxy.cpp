#include "Vorn35/Proxy.h"

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Proxy::Proxy() : _pp(new _Proxy(this)) {}

Proxy::~Proxy() {
    // A copy, or the base of an attached member, refers to the client without owning it.
    if (_pp == nullptr || _pp->pp != this) return;
    {
        const Exclusive_hold hold;
        _pp->destroy();
        // A stop on a listener thread left the object where it was; it must not stay there any longer.
        if (gp_processor != nullptr) gp_processor->forget_proxy(this);
        _pp->drop_state();
        _pp->is_orphaned = true;
    }
    const dispatches_t dispatches = _pp->dispatches;
    dispose(_pp, dispatches);
}

Error Proxy::start(Addr _stub_addr) {
    const Exclusive_hold hold;
    return _pp->create(_stub_addr);
}

Error Proxy::stop() {
    const Exclusive_hold hold;
    return _pp->destroy();
}

bool Proxy::is_connected() {
    const Shared_hold hold;
    return _pp->is_live();
}

Error Proxy::stop_and_wait(double _limit) {
    dispatches_t dispatches;
    {
        const Exclusive_hold hold;
        dispatches = _pp->dispatches;
        if (dispatches->are_own()) return VORN_ERR_BUSY_;
        _pp->withdraw();
    }
    return dispatches->wait_for_none(_limit) ? VORN_ERR_NONE_ : VORN_ERR_LOCAL_TIMEOUT_;
}

bool Proxy::is_started() {
    const Shared_hold hold;
    return _pp->is_created();
}

Error Proxy::get_address(Addr* _proxy_addr_, Addr* _stub_addr_) {
    if (!_pp->is_live()) return VORN_ERR_OBJECT_IS_NOT_EXIST_;
    *_proxy_addr_ = _pp->get_proxy_addr();
    *_stub_addr_ = _pp->get_stub_addr();
    return VORN_ERR_NONE_;
}

void Proxy::on_connect() {}
void Proxy::on_disconnect() {}

void Proxy::attach(const Proxy& _proxy) {
    if (_pp == _proxy._pp) return;
    // The most derived class built this base by default: what that made is not needed.
    if (_pp->pp == this) delete _pp;
    _pp = _proxy._pp;
}

void Proxy::detach() {
    if (_pp == nullptr) return;
    stop();
    _pp = nullptr;
}

}  // namespace Vorn35
