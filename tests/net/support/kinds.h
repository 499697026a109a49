/// @file
/// Members of the kinds with links: what happens to them is a log of lines such as "link 0" or "unlink
/// VORN_ERR_DISCONNECTED_TCP_", so that a test states the order of callbacks.
#pragma once

#include <string>
#include <thread>

#include "net/support/objects.h"

namespace net {

inline constexpr Error c_refusal = 77;
/// What a value of the model `on_post` says its limit is.
inline constexpr double c_endless = 4290772992.0;

inline std::string name_of(Error _error) {
    return _error < 0 ? get_err_str(_error) : std::to_string(_error);
}
inline std::string bytes_of(const void* _data, Pksize _size) {
    return _size == 0 ? std::string() : std::string(static_cast<const char*>(_data), _size);
}

/// Waits for a promise; the service decides, at its gate, once the wait has begun. @return the result.
template <class Await>
std::string decided(Gate* _gate, Promise_ _promise, Await _await) {
    double turnaround = -1;
    std::thread decides([_promise, _gate] {
        until_waited_for(_promise);
        _gate->open();
    });
    const Error err = _await(_promise, &turnaround);
    decides.join();
    EXPECT_GE(turnaround, 0);
    return name_of(err);
}

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
    /// By waiting.
    template <class... Form>
    std::string await_link(Gate* _gate, Form... _form) {
        _gate->close();
        return "link " + decided(_gate, this->async_link(_form..., 20.0), [this](Promise_ _promise, double* _time_) {
                   return this->await_link_return(_promise, _time_);
               });
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

/// The end that values come to. A value of the timer is "timer value x".
struct Receiver_of_values {
    std::function<void(Addr)> in_callback;  ///< Ahead of the line in the log.

protected:
    void come(Log* _log, Addr _from, Sync_model _model, double _elapsed, double _limit, const void* _data,
              Pksize _size) {
        EXPECT_GE(_elapsed, 0);
        EXPECT_TRUE(_model == on_post ? _limit == c_endless : _limit > 0 && _limit <= 0.0101) << "what is left of it";
        if (in_callback) in_callback(_from);
        _log->put((_model == on_timer ? "timer " : "") + value_line(_data, _size));
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
        come(&log, {}, _model, _elapsed, _limit, _data, _size);
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
        come(&log, _client, _model, _elapsed, _limit, _data, _size);
    }
};
class Command_client : public Linking<Proxy_command> {
public:
    using Linking::Linking;
    Command_client() : Linking(c_code) {}
    Error put(const std::string& _text) { return write(_text.data(), static_cast<Pksize>(_text.size())); }
    std::size_t kept() { return History(see_history(100)).size(); }
};

/// Both ends of a kind that links. What is put goes from the writer to the reader, and either may be the service.
template <class Service, class Client>
struct Ends {
    Service& service;
    Client& client;

    static constexpr bool c_from_service = requires(Service & _service) { _service.put(""); };

    auto& writer() const {
        if constexpr (c_from_service) return service;
        if constexpr (!c_from_service) return client;
    }
    auto& reader() const {
        if constexpr (c_from_service) return client;
        if constexpr (!c_from_service) return service;
    }
    /// Writes, and waits for the value at the reader.
    void pass(const std::string& _text) const {
        EXPECT_EQ(writer().put(_text), 0);
        EXPECT_EQ(reader().log.take(), value_line(_text.data(), static_cast<Pksize>(_text.size())));
    }
    /// What the reader has kept; of events nothing.
    std::string newest() const {
        if constexpr (requires { client.newest(); }) return client.newest();
        if constexpr (requires { service.newest(Addr()); }) return service.newest(client.self());
        return "events are not kept";
    }
    void set_sync_model(Sync_model _model, double _interval) const {
        if constexpr (c_from_service) service.set_sync_model(_model, _interval);
        if constexpr (!c_from_service) client.set_sync_model(true, _model, _interval);
    }
    template <class... Form>
    void connect_and_link(Form... _form) const {
        client.connect(service.open());
        EXPECT_EQ(client.link(_form...), "link 0");
    }
};

}  // namespace net
