/// @file
/// A service and a client of any kind, whose callbacks become events; those of calls echo and record.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>

#include "Vorn/INet_Relay/inet_relay.h"
#include "Vorn/SDK/Proxy/Promise.h"
#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/raw.h"
#include "net/support/runtime.h"

namespace net {

inline constexpr Msg_code c_code = 7;
inline constexpr IP c_here = 0x0100007F;

inline Bytes copy(const void* _data, Pksize _size) {
    const auto* const bytes = static_cast<const std::uint8_t*>(_data);
    return _size == 0 ? Bytes{} : Bytes(bytes, bytes + _size);
}
/// Contents of a large message that show a shifted or missing byte.
template <class Container = Bytes>
Container pattern(std::size_t _size) {
    Container bytes(_size, 0);
    for (std::size_t i = 0; i < _size; ++i)
        bytes[i] = static_cast<typename Container::value_type>((i * 31 + i / 251) & 0xFF);
    return bytes;
}

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

/// As it comes from the network, for nobody.
inline Token message(EMsg _type, Msg_code _code = 1, Msg_num _num = 1) {
    Token token;
    token.alloc_header_force();
    Packet* const pkt = token.get_header_packet();
    pkt->initialize_packet(c_here, relay_clock(), c_no_limit);
    pkt->set_to_proxy(Addr(c_here, 1), Addr(c_here, 2));
    pkt->initialize_header(0, _num, _type, _code, 0);
    return token;
}
/// A service of one member, anywhere, by any free port unless one is named. Handlers wait at the gate.
template <class Kind>
class Serving : public Kind {
public:
    using Kind::Kind;

    Addr open(const char* _name = nullptr, Port _port = 0) {
        EXPECT_EQ(this->start(_name, &_port), 0);
        return {c_here, _port};
    }

    Log log;
    Gate gate;
    std::atomic<Error> decision{0};  ///< What a request for a link gets.
    Events<Addr> connected;
    Events<Addr> disconnected;

protected:
    Error decide() {
        gate.pass();
        return decision;
    }
    void on_connect(Addr _client) override { connected.put(_client); }
    void on_disconnect(Addr _client) override {
        disconnected.put(_client);
        log.put("disconnect");
    }
};

/// A client of one member.
template <class Kind>
class Calling : public Kind {
public:
    using Kind::Kind;

    /// An attached member has no `on_connect` of its own.
    void connect(Addr _service) {
        EXPECT_EQ(this->start(_service), 0);
        EXPECT_TRUE(eventually([this] { return this->is_connected(); }));
    }
    /// This client as the service knows it.
    Addr self() {
        Addr here;
        Addr there;
        EXPECT_EQ(this->get_address(&here, &there), 0);
        return here;
    }
    /// Cuts the connection under both ends, and waits until the next one is up.
    void lose_connection() {
        _Proxy* const proxy = _Proxy::of(this);
        const ks_clock_t before = proxy->connected_at();
        with_server_record(self().port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
        EXPECT_TRUE(eventually([proxy, before] {
            timer_reconnect_client();
            return proxy->is_live() && proxy->connected_at() != before;
        }));
    }

    Log log;
    Events<int> connected;
    Events<int> disconnected;

protected:
    void on_connect() override { connected.put(1); }
    void on_disconnect() override {
        disconnected.put(1);
        log.put("disconnect");
    }
};

struct Called {
    Bytes data;
    double elapsed = 0;
    double limit = 0;
};

/// By default the answer is the request.
class Service : public Serving<Stub_call> {
public:
    using Handler = std::function<Error(const Bytes& _in, Bytes* _out_)>;

    explicit Service(Pksize _capacity = 64 * 1024) : Serving(c_code, _capacity) {}
    Service(const Stub& _stub, Msg_code _code) : Serving(_code, Pksize{64}, _stub) {}
    /// A request for "much" gets so many bytes.
    void answer_much(std::size_t _size) {
        handler = [_size](const Bytes& _in, Bytes* _out_) {
            if (_in == text("much")) _out_->assign(_size, 7);
            return 0;
        };
    }

    Handler handler;
    Events<Called> called;
    Events<Error> cancelled;

protected:
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
        std::copy_n(out.begin(), std::min<std::size_t>(out.size(), *_out_size_), static_cast<std::uint8_t*>(_out_));
        *_out_size_ = static_cast<Pksize>(out.size());  // also when there was less room
        return 0;
    }
    void on_call_cancel(Addr, Error _error) override { cancelled.put(_error); }
};

struct Answer {
    Error err = 0;
    Bytes data{};
    Msg_num num = 0;
    Pksize needed = 0;  ///< What a wait says.
};

class Client : public Calling<Proxy_call> {
public:
    explicit Client(Msg_code _code = c_code) : Calling(_code) {}
    Client(const Proxy& _proxy, Msg_code _code) : Calling(_code, _proxy) {}

    void connect(Addr _service) {
        Calling::connect(_service);
        connected.take();
    }
    /// By callback. @return the number of the request.
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
    Answer wait(Promise_ _promise, Bytes _buffer = Bytes(4096)) {
        auto size = static_cast<Pksize>(_buffer.size());
        const Error err = await_return(_promise, _buffer.data(), &size, nullptr);
        _buffer.resize(err == 0 ? size : 0);
        return {err, std::move(_buffer), 0, size};
    }
    /// Asks and waits. A wait that begins after the answer came runs to its limit: then it asks again, with a longer one.
    Answer call(const Bytes& _data) {
        Answer answer{VORN_ERR_LOCAL_TIMEOUT_};
        for (double limit = 0.02; limit < 30 && answer.err == VORN_ERR_LOCAL_TIMEOUT_; limit *= 1.5) {
            Bytes buffer(std::max<std::size_t>(_data.size(), 4096));
            const Promise_ promise = ask(_data, limit);
            answer = wait(promise, std::move(buffer));
        }
        return answer;
    }

    Events<Answer> returned;
    std::function<void()> in_callback;  ///< Runs in `on_return` ahead of the event.

protected:
    void on_return(Msg_num _num, Error _err, const void* _data, Pksize _size, double) override {
        if (in_callback) in_callback();
        returned.put({_err, copy(_data, _size), _num, _size});
    }
};

/// Whether a thread is in the wait for the promise, so that an answer from now on ends it.
inline bool is_waited_for(Promise_ _promise) {
    return _promise->value_->event.is_waited_for();
}
inline void until_waited_for(Promise_ _promise) {
    ASSERT_TRUE(eventually([_promise] { return is_waited_for(_promise); }));
    // Orders the look at the promise ahead of its end, which only the sockets do otherwise.
    const std::lock_guard lock(gp_processor->return_map_mutex);
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

/// A raw client, connected. One process has only one `Proxy` per address.
class Other_client : public Raw_client {
public:
    explicit Other_client(Addr _service, int _receive_buffer = 0) : Raw_client(_service.port, _receive_buffer) {
        EXPECT_EQ(open().size(), 1024U);
    }

    Addr self() const { return {c_here, port()}; }
    /// Never repeats a number, nor uses one of a `Proxy`: the check for repeats takes all clients of a host for one.
    std::uint16_t tell(EMsg _type, Msg_code _code, const std::string& _payload = {}) const {
        static std::uint16_t num = 30000;
        send(Wire_message{static_cast<std::uint8_t>(_type), _code, ++num, text(_payload), port()});
        return num;
    }
    /// Asks, and takes the answer.
    EMsg ask(EMsg _type, Msg_code _code, const std::string& _payload = {}) const {
        const std::uint16_t num = tell(_type, _code, _payload);
        const Wire_message answer = next();
        EXPECT_EQ(answer.num, num);
        EXPECT_TRUE(answer.payload.empty());
        return static_cast<EMsg>(answer.type);
    }
};

/// A raw service, and the connection of a client to it.
class Far_service {
public:
    explicit Far_service(Client& _client) : connection(accept(_client)) { _client.connected.take(); }

    Raw_server server;
    Raw_connection connection;

private:
    Raw_connection accept(Client& _client) const {
        EXPECT_EQ(_client.start({c_here, server.port()}), 0);
        return server.accept_open();
    }
};

/// A test with a service and a client.
class Pair : public Runtime {
protected:
    using Runtime::Runtime;

    void connect() {
        address = service.open();
        client.connect(address);
    }

    Service& service = make<Service>();
    Client& client = make<Client>();
    Addr address;
};

}  // namespace net
