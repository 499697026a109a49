/// @file
/// A service that echoes and a client that records, both with everything that happens to them as events.
#pragma once

#include <algorithm>
#include <functional>

#include "Vorn/SDK/Proxy/Promise.h"
#include "net/support/raw.h"
#include "net/support/runtime.h"

namespace net {

inline constexpr Msg_code c_code = 7;
inline constexpr IP c_here = 0x0100007F;

inline Bytes copy(const void* _data, Pksize _size) {
    const auto* const bytes = static_cast<const std::uint8_t*>(_data);
    return _size == 0 ? Bytes{} : Bytes(bytes, bytes + _size);
}

/// Telling contents of a large message.
template <class Container = Bytes>
Container pattern(std::size_t _size) {
    Container bytes(_size, 0);
    for (std::size_t i = 0; i < _size; ++i)
        bytes[i] = static_cast<typename Container::value_type>((i * 31 + i / 251) & 0xFF);
    return bytes;
}

struct Called {
    Bytes data;
    double elapsed = 0;
    double limit = 0;
};

/// One call member with its own `Stub`. By default the answer is the request.
class Service : public Stub_call {
public:
    using Handler = std::function<Error(const Bytes& _in, Bytes* _out_)>;

    explicit Service(Handler _handler = {}, Pksize _capacity = 64 * 1024, Msg_code _code = c_code)
        : Stub_call(_code, _capacity), handler(std::move(_handler)) {}
    Service(const Stub& _stub, Msg_code _code) : Stub_call(_code, 64, _stub) {}

    /// Anywhere, by any free port unless one is named.
    Addr open(const char* _name = nullptr, Port _port = 0) {
        EXPECT_EQ(start(_name, &_port), 0);
        return {c_here, _port};
    }

    Handler handler;
    Gate gate;
    Events<Addr> connected;
    Events<Addr> disconnected;
    Events<Called> called;
    Events<Error> cancelled;

protected:
    void on_connect(Addr _client) override { connected.put(_client); }
    void on_disconnect(Addr _client) override { disconnected.put(_client); }
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _out_size_, double _elapsed,
                  double _limit) override {
        Bytes in = copy(_in, _in_size);
        Bytes out = in;
        called.put({in, _elapsed, _limit});
        gate.pass();
        if (handler) {
            if (const Error failure = handler(in, &out); failure != 0) return failure;
        }
        EXPECT_EQ(_out_ == nullptr, *_out_size_ == 0);
        if (out.size() > *_out_size_) out.resize(*_out_size_);
        if (!out.empty()) std::memcpy(_out_, out.data(), out.size());
        *_out_size_ = static_cast<Pksize>(out.size());
        return 0;
    }
    void on_call_cancel(Addr, Error _error) override { cancelled.put(_error); }
};

struct Answer {
    Error err = 0;
    Bytes data{};
    Msg_num num = 0;
};

class Client : public Proxy_call {
public:
    explicit Client(Msg_code _code = c_code) : Proxy_call(_code) {}
    Client(const Proxy& _proxy, Msg_code _code) : Proxy_call(_code, _proxy) {}

    void connect(Addr _service) {
        EXPECT_EQ(start(_service), 0);
        connected.take();
    }
    /// By callback; the number of the request.
    Msg_num delegate(const Bytes& _data, double _limit = 20) {
        Msg_num num = 0;
        EXPECT_EQ(delegate_call(&num, _data.data(), static_cast<Pksize>(_data.size()), _limit), 0);
        return num;
    }
    Answer delegate_and_take(const Bytes& _data) {
        delegate(_data);
        return returned.take();
    }
    Promise_ ask(const Bytes& _data, double _limit = 20) {
        return async_call(_data.data(), static_cast<Pksize>(_data.size()), _limit);
    }
    Answer wait(Promise_ _promise) { return wait(_promise, Bytes(4096)); }
    Answer wait(Promise_ _promise, Bytes _buffer) {
        auto size = static_cast<Pksize>(_buffer.size());
        const Error err = await_return(_promise, _buffer.data(), &size, nullptr);
        _buffer.resize(err == 0 ? size : 0);
        return {err, std::move(_buffer)};
    }
    /// Asks and waits. Asks again, with a longer limit, when the answer was there before the wait had begun:
    /// such a wait runs to its limit.
    Answer call(const Bytes& _data) {
        Answer answer{VORN_ERR_LOCAL_TIMEOUT_};
        for (double limit = 0.02; limit < 30 && answer.err == VORN_ERR_LOCAL_TIMEOUT_; limit *= 1.5) {
            Bytes buffer(std::max<std::size_t>(_data.size(), 4096));
            const Promise_ promise = ask(_data, limit);
            answer = wait(promise, std::move(buffer));
        }
        return answer;
    }

    Events<int> connected;
    Events<int> disconnected;
    Events<Answer> returned;
    std::function<void()> in_callback;  ///< Runs in `on_return` ahead of the event.

protected:
    void on_connect() override { connected.put(1); }
    void on_disconnect() override { disconnected.put(1); }
    void on_return(Msg_num _num, Error _err, const void* _data, Pksize _size, double) override {
        if (in_callback) in_callback();
        returned.put({_err, copy(_data, _size), _num});
    }
};

/// Whether a thread is in the wait for the promise, so that an answer from now on ends it.
inline bool is_waited_for(Promise_ _promise) {
    return _promise->value_->event.is_waited_for();
}
inline void until_waited_for(Promise_ _promise) {
    ASSERT_TRUE(eventually([_promise] { return is_waited_for(_promise); }));
}

/// A wait on a thread of its own that has begun.
class Waiter {
public:
    Waiter(Client& _client, Promise_ _promise, std::size_t _capacity = 4096)
        : thread([this, &_client, _promise, _capacity] { result = _client.wait(_promise, Bytes(_capacity)); }) {
        until_waited_for(_promise);
    }
    Answer answer() {
        thread.join();
        return result;
    }

private:
    Answer result;
    std::thread thread;
};

/// The service's record of a connection, under the lock of its table; null when there is none.
template <class Look>
auto with_server_record(std::uint16_t _client_port, Look _look) {
    const std::lock_guard lock(g_establish_server_map_lock);
    const auto found = g_establish_server_map.find(Addr(c_here, _client_port));
    return _look(found == g_establish_server_map.end() ? nullptr : found->second);
}
inline bool is_served(std::uint16_t _client_port) {
    return with_server_record(_client_port, [](const auto* _record) { return _record != nullptr; });
}
/// Messages that wait for the connection, heartbeats left out.
inline std::size_t queued_for(std::uint16_t _client_port) {
    return with_server_record(_client_port, [](auto* _record) -> std::size_t {
        if (_record == nullptr) return 0;
        const std::lock_guard lock(_record->send_queue_lock);
        return static_cast<std::size_t>(std::ranges::count_if(_record->send_queue.all(), [](const Token& _token) {
            return _token.header_mm != heartbeat_token.header_mm;
        }));
    });
}

}  // namespace net
