#include "Vorn35/protobuf/Service.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "Vorn35/Statistics.h"
#include "envelope.h"
#include "vorn35/options.pb.h"

namespace Vorn35::typed {

double Call_context::seconds_left() const {
    return limit - std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

Service::Service(const char* _name) : name(_name), cancels(*this) {}

Service::~Service() {
    stop();
}

Result<Port> Service::start(const char* _name, Port _port) {
    if (const Error failure = Stub::start(_name, &_port); failure != 0) return Failure::of_runtime(failure);
    return _port;
}

Error Service::stop() {
    return stop_and_wait(std::numeric_limits<double>::max());
}

void Service::on_disconnect(Addr _client) {
    for (Call_base* const call : calls) call->client_lost(_client);
}

Service::Cancels::Cancels(Service& _service)
    : Stub_signal(envelope::c_cancel_code, static_cast<const Stub&>(_service), nullptr), service(_service) {}

void Service::Cancels::on_signal(Addr _client, const void* _data, Pksize _size, double) {
    vorn35::Cancel cancel;
    if (!decode(payload(_data, _size), &cancel)) return count_malformed_payload(2);
    for (Call_base* const call : service.calls) {
        if (call->code == cancel.code()) call->cancel(_client, cancel.number());
    }
}

Call_base::Call_base(Service& _service, Msg_code _code)
    : Stub_call(_code, 0, static_cast<const Stub&>(_service)), code(_code) {
    _service.calls.push_back(this);
}

Error Call_base::on_call(Addr _client, const void* _data, Pksize _size, void*, Pksize* _out_size_, double,
                         double _limit) {
    Bytes request = payload(_data, _size);
    const std::uint32_t number = envelope::take_number(&request);
    {
        const std::lock_guard lock(mutex);
        running = {_client, number};
        if (number != 0 && std::erase(given_up, running) != 0) return VORN_ERR_CANCELLED_;
        runs = true;
        cancelled = false;
    }
    const Error error = answer(request, Call_context(_client, _limit, &cancelled), _out_size_);
    const std::lock_guard lock(mutex);
    runs = false;
    return error;
}

void Call_base::cancel(Addr _client, std::uint32_t _number) {
    constexpr std::size_t c_most_given_up = 64;
    const Number call{_client, _number};
    const std::lock_guard lock(mutex);
    if (running == call) {
        // Or it has ended, and the flag is set back with the next call.
        cancelled = true;
        return;
    }
    if (given_up.size() == c_most_given_up) given_up.erase(given_up.begin());
    given_up.push_back(call);
}

void Call_base::client_lost(Addr _client) {
    const std::lock_guard lock(mutex);
    if (runs && running.client == _client) cancelled = true;
    std::erase_if(given_up, [&](const Number& _call) { return _call.client == _client; });
}

Error Call_base::put(const Message& _message, Pksize* _size_) {
    const std::size_t size = _message.ByteSizeLong();
    if (const Result<void> checked = check_message(_message, size); !checked) return put(checked.failure(), _size_);
    *_size_ = static_cast<Pksize>(size);
    if (size == 0) return VORN_ERR_NONE_;
    void* const block = answer_block(*_size_);
    if (block == nullptr) return VORN_ERR_EMPTY_VORN_MEMORY_;
    _message.SerializeWithCachedSizesToArray(static_cast<std::uint8_t*>(block));
    return VORN_ERR_NONE_;
}

Error Call_base::put(const Failure& _failure, Pksize* _size_) {
    const std::string envelope = encode_failure(_failure);
    *_size_ = static_cast<Pksize>(envelope.size());
    void* const block = answer_block(*_size_);
    if (block == nullptr) return VORN_ERR_EMPTY_VORN_MEMORY_;
    std::memcpy(block, envelope.data(), envelope.size());
    return VORN_ERR_NONE_;
}

}  // namespace Vorn35::typed
