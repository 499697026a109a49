/// @file
/// What a generated client consists of: `Client` and its members.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Vorn35/Proxy_call.h"
#include "Vorn35/Proxy_command.h"
#include "Vorn35/Proxy_datagram.h"
#include "Vorn35/Proxy_event.h"
#include "Vorn35/Proxy_information.h"
#include "Vorn35/Proxy_signal.h"
#include "Vorn35/protobuf/Coroutine.h"
#include "Vorn35/protobuf/Message.h"

namespace Vorn35::typed {

class Link_base;
class Client_timer;

/// Base of the generated clients. It finds its service by name, follows it to another address when it comes back there, and
/// links what is subscribed each time it is connected.
///
/// Callbacks run on threads of the runtime with no lock held, several at once, and must not throw; those of one event or one
/// information run one at a time, in the order of arrival. A delegated request that gets no answer within its limit calls back
/// on a thread of the typed layer. Keep callbacks short.
///
/// @code
/// Thermometer_client client;
/// client.start();
/// if (!client.wait_until_ready(5)) ...;
/// const auto answer = client.read(query);
/// @endcode
class Client : protected Proxy {
public:
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    /// The generated class has called `stop`. Not inside a callback of this client.
    ~Client() override;

    /// Looks for the service under the name of the interface file, and connects to it, in the background.
    Error start() { return start(name); }
    /// The same with another name.
    /// @return 0, "VORN_ERR_ALREADY_CREATED_", or "VORN_ERR_NOT_INITIALIZE_".
    Error start(const char* _name);
    /// Connects to an address.
    /// @return as `Proxy::start`.
    Error start(Addr _service);
    /// Ends the connection, and returns when no callback runs or will run. Delegated requests that wait for an answer call
    /// back first, with "VORN_ERR_IS_NOT_CREATED_". `start` and `stop` are for one thread at a time.
    /// @return 0; "VORN_ERR_BUSY_" inside a callback of this client, with nothing changed.
    Error stop();
    /// Whether the connection is up.
    bool is_connected() { return Proxy::is_connected(); }
    /// Waits until the connection and all links that are wanted stand. Not inside a callback.
    /// @param _limit seconds. @return false: not within the limit.
    bool wait_until_ready(double _limit);
    /// The service's address; the default before it is found.
    Addr address();

protected:
    /// @param _name in the directory. Static.
    explicit Client(const char* _name);

private:
    friend class Call_base_client;
    friend class Signal_base_client;
    friend class Link_base;
    friend class Event_base_client;
    friend class Information_base_client;
    friend class Command_base_client;
    friend class Datagram_base_client;
    friend class Requests;
    friend class Client_timer;

    using Time = std::chrono::steady_clock::time_point;

    /// @cond private
    /// Attached only to send; nothing waits for its acknowledgements.
    class Cancels : public Proxy_signal {
    public:
        explicit Cancels(Client& _client);
    };
    /// @endcond

    void on_connect() override;
    void on_disconnect() override;
    Error begin(std::string _name, Addr _service);
    /// On the timer's thread: requests over their limits, the address, and links that are missing.
    /// @return when it wants to run again.
    Time on_time(Time _now);
    void look_after_address(Time _now);
    /// With `mutex`.
    void forget_order();
    void link_changed();
    bool is_ready();

    const char* const name;
    std::vector<Link_base*> links;  ///< Constant after construction.
    const std::shared_ptr<Requests> requests;
    Cancels cancels;

    std::mutex mutex;  ///< Guards the rest. Before the locks of the runtime; not held in callbacks of the application.
    std::condition_variable changed;
    std::shared_ptr<Client_timer> timer;  ///< While it is started.
    std::string wanted;                   ///< The name looked for; empty for an address.
    bool is_wanted = false;
    Addr service;
    Time unconnected_since;
    std::vector<Msg_addr> ordered;  ///< Ordering keys of this connection.
};

/// @cond parts of the classes below
/// What calls of all messages share.
class Call_base_client : protected Proxy_call {
protected:
    /// A member of the client.
    Call_base_client(Client& _client, Msg_code _code, double _limit);
    ~Call_base_client() override = default;

    /// @param _limit 0 for that of the interface file.
    Call_result call_bytes(Bytes _request, double _limit) { return Proxy_call::call(_request, limit_of(_limit)); }
    Request_handle delegate_message(const Message& _request, std::unique_ptr<Pending> _pending, double _limit);

private:
    double limit_of(double _limit) const { return _limit > 0 ? _limit : limit; }
    void on_return(Msg_num _num, Error _error, const void* _data, Pksize _size, double) final;

    Client& client;
    const Msg_code code;
    const double limit;
};

/// A callback that waits for an answer.
template <class T>
class Callback final : public Pending {
public:
    /// Reads the answer.
    using Read = Result<T> (*)(Error, Bytes);
    Callback(std::function<void(Result<T>)> _function, Read _read) : function(std::move(_function)), read(_read) {}
    void finish(Error _error, Bytes _bytes) override { function(read(_error, _bytes)); }
    void refuse(Failure _failure) override { function(std::move(_failure)); }

private:
    const std::function<void(Result<T>)> function;
    const Read read;
};
/// @endcond

/// A call of the service. A call runs at most once. Limits are in seconds; 0 stands for the limit of the interface file.
template <class Request, class Response>
class Call final : public Call_base_client {
public:
    /// What the callback receives.
    using Function = std::function<void(Result<Response>)>;
    /// A member of `_client`.
    Call(Client& _client, Msg_code _code, double _limit) : Call_base_client(_client, _code, _limit) {}

    /// Blocks until the answer or the limit, as `Proxy_call::call`: without `exact_waits` the wait can miss its answer.
    Result<Response> operator()(const Request& _request, double _limit = 0) {
        const Encoded encoded(_request);
        if (!encoded.result()) return encoded.result().failure();
        const Call_result answer = call_bytes(encoded.bytes(), _limit);
        return take_answer<Response>(answer.error, answer.bytes);
    }
    /// Returns at once. The callback runs exactly once unless the request is cancelled, with an answer or a failure;
    /// if the request cannot be sent, inside `delegate`.
    Request_handle delegate(const Request& _request, Function _function, double _limit = 0) {
        return delegate_message(
            _request, std::make_unique<Callback<Response>>(std::move(_function), &take_answer<Response>), _limit);
    }
    /// For `co_await`, which gives a `Result<Response>`.
    Awaitable<Response> co_call(Request _request, double _limit = 0) {
        return {[this, request = std::move(_request), _limit](std::unique_ptr<Pending> _pending) {
                    return delegate_message(request, std::move(_pending), _limit);
                },
                &take_answer<Response>};
    }
};

/// @cond parts of the classes below
/// What signals of all messages share.
class Signal_base_client : protected Proxy_signal {
protected:
    /// A member of the client.
    Signal_base_client(Client& _client, Msg_code _code, double _limit);
    ~Signal_base_client() override = default;

    Result<void> send_message(const Message& _message, double _limit);
    Request_handle delegate_message(const Message& _message, std::unique_ptr<Pending> _pending, double _limit);
    /// The acknowledgement as a result.
    static Result<void> take_acknowledgement(Error _error, Bytes);

private:
    double limit_of(double _limit) const { return _limit > 0 ? _limit : limit; }
    void on_return(Msg_num _num, Error _error, double) final;

    Client& client;
    const Msg_code code;
    const double limit;
};
/// @endcond

/// A signal to the service. Success means that it arrived and is the message. Limits as those of `Call`.
template <class Request>
class Signal final : public Signal_base_client {
public:
    /// A member of `_client`.
    Signal(Client& _client, Msg_code _code, double _limit) : Signal_base_client(_client, _code, _limit) {}
    /// Blocks until the acknowledgement or the limit.
    Result<void> operator()(const Request& _message, double _limit = 0) { return send_message(_message, _limit); }
    /// As `Call::delegate`.
    Request_handle delegate(const Request& _message, std::function<void(Result<void>)> _function, double _limit = 0) {
        return delegate_message(_message, std::make_unique<Callback<void>>(std::move(_function), &take_acknowledgement),
                                _limit);
    }
    /// For `co_await`, which gives a `Result<void>`.
    Awaitable<void> co_send(Request _message, double _limit = 0) {
        return {[this, message = std::move(_message), _limit](std::unique_ptr<Pending> _pending) {
                    return delegate_message(message, std::move(_pending), _limit);
                },
                &take_acknowledgement};
    }
};

/// @cond parts of the classes below
/// A link that the client keeps up while it is wanted.
class Link_base {
public:
    Link_base(const Link_base&) = delete;
    Link_base& operator=(const Link_base&) = delete;

protected:
    /// Enters itself into the client.
    Link_base(Client& _client, Msg_code _code, Transaction _kind, bool _is_wanted);
    virtual ~Link_base() = default;
    /// Wants the link, and asks for it if the client is connected.
    void want();
    /// Does not want it any more.
    void unwant() { is_wanted = false; }
    /// After each answer to a request for the link.
    void link_changed();

private:
    friend class Client;
    virtual Error ask() = 0;
    virtual bool stands() = 0;
    /// Unless the last request is still young.
    void ask_again(Client::Time _now);

    Client& client;
    const Msg_code code;
    const Transaction kind;
    std::atomic<bool> is_wanted;
    std::atomic<Client::Time> asked{};
};

/// A callback that may be exchanged while it runs.
template <class T>
class Subscriber {
public:
    /// What it calls.
    using Function = std::function<void(Result<T>)>;
    /// Empty: nothing is called.
    void set(Function _function) {
        auto next = _function ? std::make_shared<const Function>(std::move(_function)) : nullptr;
        const std::lock_guard lock(mutex);
        function.swap(next);
    }
    void call(Bytes _bytes, Transaction _kind) {
        std::shared_ptr<const Function> now;
        {
            const std::lock_guard lock(mutex);
            now = function;
        }
        if (now) (*now)(take<T>(_bytes, _kind));
    }

private:
    std::mutex mutex;  ///< Guards `function`. A leaf.
    std::shared_ptr<const Function> function;
};

/// What events of all messages share.
class Event_base_client : protected Proxy_event, protected Link_base {
protected:
    /// A member of the client.
    Event_base_client(Client& _client, Msg_code _code);
    void end() {
        unwant();
        unlink();
    }

private:
    virtual void deliver(Bytes _bytes) = 0;
    void on_event(const void* _data, Pksize _size, double) final { deliver(payload(_data, _size)); }
    void on_link(Msg_num, Error, double) final { link_changed(); }
    Error ask() final;
    bool stands() final { return is_linked(); }
};
/// @endcond

/// Events of the service.
template <class T>
class Event final : public Event_base_client {
public:
    /// A member of `_client`.
    Event(Client& _client, Msg_code _code) : Event_base_client(_client, _code) {}
    /// Calls the function with each event from now on; the link is kept up, also over lost connections. A payload that is
    /// not the message comes as a failure. Replaces the function of before.
    void subscribe(std::function<void(Result<T>)> _function) {
        subscriber.set(std::move(_function));
        want();
    }
    /// Ends the link. A callback that runs is not waited for.
    void unsubscribe() {
        end();
        subscriber.set(nullptr);
    }

private:
    void deliver(Bytes _bytes) override { subscriber.call(_bytes, 3); }
    Subscriber<T> subscriber;
};

/// @cond parts of the classes below
/// What informations of all messages share.
class Information_base_client : protected Proxy_information, protected Link_base {
protected:
    /// A member of the client.
    Information_base_client(Client& _client, Msg_code _code, std::size_t _history, bool _multicast);
    void end() {
        unwant();
        unlink();
    }
    Letter_case_ snapshot(std::size_t _size) { return see_history(_size); }

private:
    virtual void deliver(Bytes _bytes) = 0;
    void on_sync(Sync_model, double, double, const void* _data, Pksize _size) final { deliver(payload(_data, _size)); }
    void on_link(Msg_num, Error, double) final { link_changed(); }
    Error ask() final;
    bool stands() final { return is_linked(); }

    const bool multicast;
};
/// @endcond

/// A value of the service.
template <class T>
class Information final : public Information_base_client {
public:
    /// A member of `_client`.
    Information(Client& _client, Msg_code _code, std::size_t _history, bool _multicast)
        : Information_base_client(_client, _code, _history, _multicast) {}
    /// Links, and keeps the link up: `value` and `history` then have the values that come.
    void follow() { want(); }
    /// Follows, and calls the function with each value, as `Event::subscribe`.
    void subscribe(std::function<void(Result<T>)> _function) {
        subscriber.set(std::move(_function));
        want();
    }
    /// Ends the link; the history is empty then.
    void unsubscribe() {
        end();
        subscriber.set(nullptr);
    }
    /// The newest value that came over the present link; "VORN_ERR_EMPTY_HISTORY_" if there is none.
    Result<T> value() { return history(1)[0]; }
    /// The newest values, at most `_size` of them, newest first.
    History<T> history(std::size_t _size) { return History<T>(snapshot(_size)); }

private:
    void deliver(Bytes _bytes) override { subscriber.call(_bytes, 5); }
    Subscriber<T> subscriber;
};

/// @cond parts of the classes below
/// What commands of all messages share.
class Command_base_client : protected Proxy_command, protected Link_base {
protected:
    /// A member of the client, linked whenever it is connected.
    Command_base_client(Client& _client, Msg_code _code, std::size_t _history);
    Result<void> write_message(const Message& _message);
    Letter_case_ snapshot(std::size_t _size) { return see_history(_size); }

private:
    void on_link(Msg_num, Error, double) final { link_changed(); }
    Error ask() final;
    bool stands() final { return is_linked(); }
};
/// @endcond

/// A value that this client sets in the service.
template <class T>
class Command final : public Command_base_client {
public:
    /// A member of `_client`.
    Command(Client& _client, Msg_code _code, std::size_t _history) : Command_base_client(_client, _code, _history) {}
    /// Sends the value. Commands are not acknowledged.
    /// @return "VORN_ERR_OBJECT_IS_NOT_EXIST_" without a link: the value is not sent.
    Result<void> set(const T& _value) { return write_message(_value); }
    /// The newest values that were sent, at most `_size` of them, newest first.
    History<T> history(std::size_t _size) { return History<T>(snapshot(_size)); }
};

/// @cond parts of the classes below
/// What datagrams of all messages share.
class Datagram_base_client : protected Proxy_datagram {
protected:
    /// A member of the client.
    Datagram_base_client(Client& _client, Msg_code _code);
    ~Datagram_base_client() override = default;

private:
    virtual void deliver(Bytes _bytes) = 0;
    void on_datagram(Addr, const void* _data, Pksize _size, double) final { deliver(payload(_data, _size)); }
};
/// @endcond

/// Datagrams of the service.
template <class T>
class Datagram final : public Datagram_base_client {
public:
    /// A member of `_client`.
    Datagram(Client& _client, Msg_code _code) : Datagram_base_client(_client, _code) {}
    /// Calls the function with each datagram from now on. Several calls may run at once. Null: none.
    void subscribe(std::function<void(Result<T>)> _function) { subscriber.set(std::move(_function)); }

private:
    void deliver(Bytes _bytes) override { subscriber.call(_bytes, 6); }
    Subscriber<T> subscriber;
};

}  // namespace Vorn35::typed
