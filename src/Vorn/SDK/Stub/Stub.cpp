#include "Vorn35/Stub.h"

#include "Vorn/SDK/Stub/_Stub.h"
#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {

Stub::Stub() : _op(new _Stub(this)) {}

Stub::~Stub() {
    // A copy, or the base of an attached member, refers to the service without owning it.
    if (_op == nullptr || _op->op != this) return;
    {
        const Exclusive_hold hold;
        _op->destroy();
        // A stop on a listener thread left the object where it was; it must not stay there any longer.
        if (gp_processor != nullptr) gp_processor->forget_stub(this);
        _op->drop_state();
        _op->is_orphaned = true;
    }
    const dispatches_t dispatches = _op->dispatches;
    dispose(_op, dispatches);
}

Error Stub::start(const char* _name_, Port* _port_) {
    const Exclusive_hold hold;
    return _op->create(_name_, _port_);
}

Error Stub::start_for_python(const char* _name_, int _port) {
    Port port = static_cast<Port>(_port);
    return start(_name_, &port);
}

Error Stub::stop() {
    const Exclusive_hold hold;
    return _op->destroy();
}

Error Stub::stop_and_wait(double _limit) {
    dispatches_t dispatches;
    {
        const Exclusive_hold hold;
        dispatches = _op->dispatches;
        if (dispatches->are_own()) return VORN_ERR_BUSY_;
        _op->withdraw();
    }
    return dispatches->wait_for_none(_limit) ? VORN_ERR_NONE_ : VORN_ERR_LOCAL_TIMEOUT_;
}

bool Stub::is_started() {
    const Shared_hold hold;
    return _op->is_created();
}

void Stub::on_connect(Addr) {}
void Stub::on_disconnect(Addr) {}

void Stub::attach(const Stub& _stub) {
    if (_op == _stub._op) return;
    // The most derived class built this base by default: what that made is not needed.
    if (_op->op == this) delete _op;
    _op = _stub._op;
}

void Stub::detach() {
    if (_op == nullptr) return;
    stop();
    _op = nullptr;
}

}  // namespace Vorn35
