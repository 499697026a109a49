/// @file
/// Members of the kinds with links: what happens to them is a log of lines such as "link 0" or "unlink
/// VORN_ERR_DISCONNECTED_TCP_", so that a test states the order of callbacks.
#pragma once

#include <string>
#include <thread>

#include "net/support/objects.h"

namespace net {

using Log = Events<std::string>;

inline constexpr Error c_refusal = 77;
/// What a value of the model `on_post` says its limit is.
inline constexpr double c_endless = 4290772992.0;

inline std::string name_of(Error _error) {
    return _error < 0 ? get_err_str(_error) : std::to_string(_error);
}
inline std::string bytes_of(const void* _data, Pksize _size) {
    return _size == 0 ? std::string() : std::string(static_cast<const char*>(_data), _size);
}

/// A service of one member. Requests for a link wait at the gate and are then decided by `decision`.
template <class Kind>
class Serving : public Kind {
public:
    using Kind::Kind;

    Addr open() {
        Port port = 0;
        EXPECT_EQ(this->start(nullptr, &port), 0);
        return {c_here, port};
    }

    Log log;
    Gate gate;
    std::atomic<Error> decision{0};

protected:
    Error decide() {
        gate.pass();
        return decision;
    }
    void on_disconnect(Addr) override { log.put("disconnect"); }
};

/// A client of one member.
template <class Kind>
class Calling : public Kind {
public:
    using Kind::Kind;

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
    /// Takes the connection away under both ends, and waits until the next one is up.
    void lose_connection() {
        const std::uint16_t port = self().port;
        with_server_record(port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
        EXPECT_TRUE(eventually([this, port] {
            Addr here;
            Addr there;
            return this->get_address(&here, &there) == 0 && here.port != port;
        }));
    }

    Log log;

protected:
    void on_disconnect() override { log.put("disconnect"); }
};

/// A client of one member that is linked to.
template <class Kind>
class Linking : public Calling<Kind> {
public:
    using Calling<Kind>::Calling;

    /// By callback. @return what `on_link` said.
    template <class... Form>
    std::string link(Form... _form) {
        Msg_num num = 0;
        EXPECT_EQ(this->delegate_link(&num, _form..., 20.0), 0);
        return this->log.take();
    }
    /// By waiting; the service decides when somebody waits.
    template <class... Form>
    std::string await_link(Gate* _gate, Form... _form) {
        _gate->close();
        const Promise_ promise = this->async_link(_form..., 20.0);
        std::thread decides([promise, _gate] {
            until_waited_for(promise);
            _gate->open();
        });
        double turnaround = -1;
        const Error err = this->await_link_return(promise, &turnaround);
        decides.join();
        EXPECT_GE(turnaround, 0);
        return "link " + name_of(err);
    }

protected:
    void on_link(Msg_num, Error _err, double) override { this->log.put("link " + name_of(_err)); }
    void on_unlink(Error _err) override {
        EXPECT_EQ(get_last_error(), _err);
        this->log.put("unlink " + name_of(_err));
    }
};

inline std::string value_line(const void* _data, Pksize _size) {
    return "value " + (_size > 64 ? "of " + std::to_string(_size) : bytes_of(_data, _size));
}
inline std::string joined(const History& _history) {
    std::string all;
    for (unsigned int i = 0; i < _history.size(); ++i) all += bytes_of(_history[i].buffer_, _history[i].size) + ",";
    return all;
}
/// What a `read` of 64 bytes gives.
template <class Read>
std::string newest_of(Read _read) {
    char buffer[64];
    Pksize size = sizeof buffer;
    const Error err = _read(buffer, &size);
    return err == 0 ? bytes_of(buffer, size) : name_of(err);
}
// One service and one client of each kind that links. `put` is with the end that sends; the other's log says "value x".

class Event_service : public Serving<Stub_event> {
public:
    using Serving::Serving;
    Event_service() : Serving(c_code) {}
    Error put(const std::string& _text) { return event(_text.data(), static_cast<Pksize>(_text.size())); }

private:
    Error on_link(Addr, double _elapsed, double _limit) override {
        EXPECT_TRUE(_elapsed >= 0 && _limit > 0);
        return decide();
    }
    void on_unlink(Addr, Error _error) override {
        EXPECT_EQ(get_last_error(), _error);
        log.put("unlink " + name_of(_error));
    }
};
class Event_client : public Linking<Proxy_event> {
public:
    using Linking::Linking;
    Event_client() : Linking(c_code) {}

private:
    void on_event(const void* _data, Pksize _size, double) override { log.put(value_line(_data, _size)); }
};

/// The end that values come to.
struct Receiver_of_values {
    std::atomic<Sync_model> model{on_post};  ///< Of the last.
    std::atomic<double> limit{0};
    std::function<void(Addr)> in_callback;  ///< Ahead of the line in the log.

protected:
    void come(Log* _log, Addr _from, Sync_model _model, double _elapsed, double _limit, const std::string& _line) {
        EXPECT_GE(_elapsed, 0);
        model = _model;
        limit = _limit;
        if (in_callback) in_callback(_from);
        _log->put(_line);
    }
};

class Information_service : public Serving<Stub_information> {
public:
    using Serving::Serving;
    Information_service() : Serving(c_code) {}
    Error put(const std::string& _text) { return write(_text.data(), static_cast<Pksize>(_text.size())); }
    std::atomic<int> reliable{-1};  ///< What the last request for a link asked for.

private:
    Error on_link(Addr, bool _reliability, double, double) override {
        reliable = _reliability;
        return decide();
    }
    void on_unlink(Addr, Error _error) override { log.put("unlink " + name_of(_error)); }
};
class Information_client : public Linking<Proxy_information>, public Receiver_of_values {
public:
    using Linking::Linking;
    Information_client() : Linking(c_code) {}
    std::string newest() {
        return newest_of([this](void* _buffer, Pksize* _size) { return read(_buffer, _size); });
    }

private:
    void on_sync(Sync_model _model, double _elapsed, double _limit, const void* _data, Pksize _size) override {
        come(&log, {}, _model, _elapsed, _limit, value_line(_data, _size));
    }
};

class Command_service : public Serving<Stub_command>, public Receiver_of_values {
public:
    using Serving::Serving;
    Command_service() : Serving(c_code) {}
    std::string newest(Addr _client) {
        return newest_of([&](void* _buffer, Pksize* _size) { return read(_client, _buffer, _size); });
    }

private:
    Error on_link(Addr, double, double) override { return decide(); }
    void on_unlink(Addr, Error _error) override { log.put("unlink " + name_of(_error)); }
    void on_sync(Addr _client, Sync_model _model, double _elapsed, double _limit, const void* _data,
                 const Pksize _size) override {
        come(&log, _client, _model, _elapsed, _limit, value_line(_data, _size));
    }
};
class Command_client : public Linking<Proxy_command> {
public:
    using Linking::Linking;
    Command_client() : Linking(c_code) {}
    Error put(const std::string& _text) { return write(_text.data(), static_cast<Pksize>(_text.size())); }
    std::size_t kept() { return History(see_history(100)).size(); }
};

/// A further client of a service: one process has only one `Proxy` per address.
class Other_client : public Raw_client {
public:
    explicit Other_client(Addr _service) : Raw_client(_service.port) { open(); }

    Addr self() const { return {c_here, port()}; }
    /// No number is used twice, nor by a `Proxy`: all clients of a host are one in the check for repeats.
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

}  // namespace net
