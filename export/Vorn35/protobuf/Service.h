/// @file
/// What a generated service consists of: `Service`, its handlers and its publishers.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "Vorn35/Stub_call.h"
#include "Vorn35/Stub_command.h"
#include "Vorn35/Stub_datagram.h"
#include "Vorn35/Stub_event.h"
#include "Vorn35/Stub_information.h"
#include "Vorn35/Stub_signal.h"
#include "Vorn35/protobuf/Message.h"

namespace Vorn35::typed {

/// What a handler knows about the request beside its message. Valid until the handler returns.
class Call_context {
public:
    /// Who sent it.
    Addr caller() const { return client; }
    /// Seconds that the caller still waits; negative when it has given up. Very large for a signal or a command.
    double seconds_left() const;
    /// The caller has cancelled this call, its connection is lost, or its time is over: the answer is of no use any more.
    /// A handler that takes long asks now and then.
    bool is_cancelled() const { return (cancelled != nullptr && *cancelled) || seconds_left() <= 0; }

    /// @param _limit seconds that the caller waits, from now; @param _cancelled set by another thread, or null.
    Call_context(Addr _client, double _limit, const std::atomic<bool>* _cancelled)
        : client(_client), limit(_limit), begin(std::chrono::steady_clock::now()), cancelled(_cancelled) {}

private:
    const Addr client;
    const double limit;
    const std::chrono::steady_clock::time_point begin;
    const std::atomic<bool>* const cancelled;
};

class Call_base;

/// Base of the generated services. Handlers run on threads of the runtime, as the callbacks of `Stub`: those of one member
/// one at a time, those of different members in parallel, with no lock held; they must not throw.
///
/// @code
/// struct My_thermometer : Thermometer_service { ... };
/// My_thermometer thermometer;
/// thermometer.start();
/// ...
/// thermometer.stop();  // before the object is destroyed
/// @endcode
class Service : protected Stub {
public:
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    /// Stops the service. Handlers that run meanwhile belong to a derived class whose destructor is over: call `stop` before
    /// the destruction begins.
    ~Service() override;

    /// Opens a port and publishes the name of the interface file.
    /// @param _port 0 for any.
    /// @return the port, or the failure of `Stub::start`.
    Result<Port> start(Port _port = 0) { return start(name, _port); }
    /// The same under another name; null for none.
    Result<Port> start(const char* _name, Port _port = 0);
    /// Stops the service, and returns when no handler runs or will run.
    /// @return 0; "VORN_ERR_BUSY_" inside a handler of this service, with nothing changed.
    Error stop();
    /// True from `start` to `stop`.
    bool is_started() { return Stub::is_started(); }

protected:
    /// @param _name in the directory, unless `start` names another. Static.
    explicit Service(const char* _name);

private:
    friend class Call_base;
    template <class T>
    friend class Event_publisher;
    template <class T>
    friend class Information_publisher;
    template <class T>
    friend class Datagram_publisher;
    template <class Owner, class Request>
    friend class Signal_handler;
    template <class Owner, class Value>
    friend class Command_handler;

    /// @cond private
    /// The signal by which clients give up calls.
    class Cancels : public Stub_signal {
    public:
        explicit Cancels(Service& _service);

    private:
        void on_signal(Addr _client, const void* _data, Pksize _size, double) override;
        Service& service;
    };
    /// @endcond

    void on_disconnect(Addr _client) override;

    const char* const name;
    std::vector<Call_base*> calls;  ///< Constant after construction.
    Cancels cancels;
};

/// What all calls of a service share.
class Call_base : protected Stub_call {
public:
    Call_base(const Call_base&) = delete;
    Call_base& operator=(const Call_base&) = delete;

protected:
    /// Attached to the service.
    Call_base(Service& _service, Msg_code _code);
    ~Call_base() override = default;

    /// Reads the request, runs the handler, and gives the outcome to one of the functions below.
    virtual Error answer(Bytes _request, const Call_context& _context, Pksize* _size_) = 0;
    /// Writes the answer.
    static Error put(const Message& _message, Pksize* _size_);
    /// Writes the envelope of a failure.
    static Error put(const Failure& _failure, Pksize* _size_);

private:
    friend class Service;

    /// @cond private
    /// A call by its client's number.
    struct Number {
        Addr client;
        std::uint32_t number = 0;
        bool operator==(const Number&) const = default;
    };
    /// @endcond

    Error on_call(Addr _client, const void* _data, Pksize _size, void*, Pksize* _out_size_, double,
                  double _limit) final;
    /// The client has given up a call, which runs, or waits for its turn.
    void cancel(Addr _client, std::uint32_t _number);
    void client_lost(Addr _client);

    const Msg_code code;
    std::mutex mutex;  ///< Guards the rest but `cancelled`. A leaf.
    bool runs = false;
    Number running;
    std::vector<Number> given_up;  ///< Calls that have not begun: the newest, a fixed number.
    std::atomic<bool> cancelled{false};
};

/// A call whose handler is a function of the generated service.
template <class Owner, class Request, class Response>
class Call_handler final : public Call_base {
public:
    /// The handler.
    using Function = Result<Response> (Owner::*)(const Request&, const Call_context&);
    /// A member of `_owner`.
    Call_handler(Owner& _owner, Msg_code _code, Function _function)
        : Call_base(_owner, _code), owner(_owner), function(_function) {}

private:
    Error answer(Bytes _request, const Call_context& _context, Pksize* _size_) override {
        Request request;
        if (!decode(_request, &request)) return count_malformed(request, 1).error;
        const Result<Response> result = (owner.*function)(request, _context);
        return result ? put(*result, _size_) : put(result.failure(), _size_);
    }
    Owner& owner;
    const Function function;
};

/// A signal whose handler is a function of the generated service. A payload that is not the message is refused before the
/// acknowledgement.
template <class Owner, class Request>
class Signal_handler final : private Stub_signal {
public:
    /// The handler.
    using Function = void (Owner::*)(const Request&, const Call_context&);
    /// A member of `_owner`.
    Signal_handler(Owner& _owner, Msg_code _code, Function _function)
        : Stub_signal(_code, static_cast<const Stub&>(static_cast<Service&>(_owner)), &accept),
          owner(_owner),
          function(_function) {}

private:
    /// Runs with a lock of the runtime held: it must not call the handler.
    static int accept(Stub_signal*, Addr, void* _data, Pksize _size, double, double) {
        Request request;
        return decode(payload(_data, _size), &request) ? 0 : VORN_ERR_MALFORMED_PAYLOAD_;
    }
    void on_signal(Addr _client, const void* _data, Pksize _size, double) override {
        Request request;
        if (decode(payload(_data, _size), &request)) {
            (owner.*function)(request, Call_context(_client, c_forever, nullptr));
        } else {
            count_malformed(request, 2);
        }
    }
    static constexpr double c_forever = 1e9;
    Owner& owner;
    const Function function;
};

/// A command whose handler is a function of the generated service. A payload that is not the message is counted and dropped.
template <class Owner, class Value>
class Command_handler final : private Stub_command {
public:
    /// The handler.
    using Function = void (Owner::*)(const Value&, const Call_context&);
    /// A member of `_owner`.
    Command_handler(Owner& _owner, Msg_code _code, std::size_t _history, Function _function)
        : Stub_command(_code, static_cast<const Stub&>(static_cast<Service&>(_owner))),
          owner(_owner),
          function(_function) {
        set_history_size(_history);
    }
    /// See `Stub_command::see_history`.
    History<Value> history(Addr _client, std::size_t _size) { return History<Value>(see_history(_client, _size)); }

private:
    void on_sync(Addr _client, Sync_model, double, double, const void* _data, const Pksize _size) override {
        Value value;
        if (decode(payload(_data, _size), &value)) {
            (owner.*function)(value, Call_context(_client, c_forever, nullptr));
        } else {
            count_malformed(value, 4);
        }
    }
    static constexpr double c_forever = 1e9;
    Owner& owner;
    const Function function;
};

/// Sends events to all linked clients. Any thread.
template <class T>
class Event_publisher : private Stub_event {
public:
    /// A member of `_service`.
    Event_publisher(Service& _service, Msg_code _code) : Stub_event(_code, static_cast<const Stub&>(_service)) {}
    /// Sends one event.
    Result<void> publish(const T& _message) {
        const Encoded encoded(_message);
        if (!encoded.result()) return encoded.result();
        return Result<void>::of_runtime(event(encoded.data(), encoded.size()));
    }
};

/// A value that all linked clients follow. Any thread.
template <class T>
class Information_publisher : private Stub_information {
public:
    /// A member of `_service`.
    Information_publisher(Service& _service, Msg_code _code, std::size_t _history)
        : Stub_information(_code, static_cast<const Stub&>(_service)) {
        set_history_size(_history);
    }
    /// Publishes a new value.
    Result<void> set(const T& _message) {
        const Encoded encoded(_message);
        if (!encoded.result()) return encoded.result();
        return Result<void>::of_runtime(write(encoded.data(), encoded.size()));
    }
    /// The newest values that were published, at most `_size` of them, newest first.
    History<T> history(std::size_t _size) { return History<T>(see_history(_size)); }
};

/// Sends datagrams to clients, linked or not. Any thread.
template <class T>
class Datagram_publisher : private Stub_datagram {
public:
    /// A member of `_service`.
    Datagram_publisher(Service& _service, Msg_code _code) : Stub_datagram(_code, static_cast<const Stub&>(_service)) {}
    /// To every host of the subnet.
    Result<void> broadcast(const T& _message) {
        const Encoded encoded(_message, 0, c_largest_datagram);
        if (!encoded.result()) return encoded.result();
        return Result<void>::of_runtime(Stub_datagram::broadcast(encoded.data(), encoded.size()));
    }
    /// To one host.
    Result<void> cast(IP _ip, const T& _message) {
        const Encoded encoded(_message, 0, c_largest_datagram);
        if (!encoded.result()) return encoded.result();
        return Result<void>::of_runtime(Stub_datagram::cast(_ip, encoded.data(), encoded.size()));
    }

private:
    static constexpr std::size_t c_largest_datagram = 65000;
};

}  // namespace Vorn35::typed
