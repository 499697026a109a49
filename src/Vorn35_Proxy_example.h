/// @file
/// Client side of the interface set `example`: the six kinds, speaking in the structures of the set.
///
/// Every operation is the one of the base class that its name ends in, with the size filled in; every `on_`
/// operation is that of the base class with the payload as a structure, null where there is none.
#pragma once

#include "Vorn35/Proxy_call.h"
#include "Vorn35/Proxy_command.h"
#include "Vorn35/Proxy_datagram.h"
#include "Vorn35/Proxy_event.h"
#include "Vorn35/Proxy_information.h"
#include "Vorn35/Proxy_signal.h"
#include "Vorn35_Example_Data.h"

class Proxy_example_datagram : public Vorn35::Proxy_datagram {
public:
    Proxy_example_datagram() : Proxy_datagram(c_example_code) {}

    virtual void on_example_datagram(Addr, const Example_output*, double) {}

protected:
    void on_datagram(Addr _stub, const void* _buf_, Pksize _size, double _elapsed) override {
        on_example_datagram(_stub, typed<Example_output>(_buf_, _size), _elapsed);
    }
};

class Proxy_example_call : public Vorn35::Proxy_call {
public:
    Proxy_example_call() : Proxy_call(c_example_code) {}

    /// Blocking: asks and waits.
    Error example_call(const Example_input* _input_, Example_output* _output_, double _limit, double* _time_) {
        return example_call_await_return(example_call_async_call(_input_, _limit), _output_, _time_);
    }
    Vorn35::Promise_ example_call_async_call(const Example_input* _input_, double _limit) {
        return async_call(_input_, sizeof *_input_, _limit);
    }
    Error example_call_await_return(Vorn35::Promise_ _promise_, Example_output* _output_, double* _time_) {
        Pksize size = sizeof *_output_;
        return await_return(_promise_, _output_, &size, _time_);
    }
    void example_call_cancel(Error _error) { cancel(_error); }

    virtual void on_example_cal_return(Msg_num, Error, const Example_output*, double) {}

    void on_return(Msg_num _num, Error _err, const void* _ret_, Pksize _size, double _elapsed) override {
        on_example_cal_return(_num, _err, typed<Example_output>(_ret_, _size), _elapsed);
    }

    // Delegate form
    Error example_delegate_call(Msg_num* _num_, const Example_input* _input_, double _limit) {
        return delegate_call(_num_, _input_, sizeof *_input_, _limit);
    }
    // Delegate form ends
};

class Proxy_example_command : public Vorn35::Proxy_command {
public:
    Proxy_example_command() : Proxy_command(c_example_code) {}

    bool example_command_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error example_command_link(double _limit, double* _time_) { return await_link_return(async_link(_limit), _time_); }
    Vorn35::Promise_ example_command_async_link(double _limit) { return async_link(_limit); }
    Error example_command_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void example_command_unlink() { unlink(); }

    void example_command_set_sync_model(bool _reliability, Sync_model _model, double _interval) {
        set_sync_model(_reliability, _model, _interval);
    }
    Example_input* example_command_get() { return static_cast<Example_input*>(get(sizeof(Example_input))); }
    void example_command_cancel() { cancel(); }
    Error example_command_post() { return post(sizeof(Example_input)); }
    Error example_command_write(const Example_input* _input_) { return write(_input_, sizeof *_input_); }
    Vorn35::Letter_case_ example_command_see_history(std::size_t _size) { return see_history(_size); }
    void example_command_set_history_size(std::size_t _size) { set_history_size(_size); }
    Error example_command_read(Example_input* _input_) {
        Pksize size = sizeof *_input_;
        return read(_input_, &size);
    }

protected:
    using Vorn35::Proxy_command::on_unlink;

public:
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_example_command_unlink(); }

    virtual void on_example_command_unlink() {}

    // Delegate form
    Error example_command_delegate_link(Msg_num* _num_, double _limit) { return delegate_link(_num_, _limit); }

    virtual void on_example_command_link(Msg_num, Error, double) {}

protected:
    void on_link(Msg_num _num, Error _err, double _time) override { on_example_command_link(_num, _err, _time); }
    // Delegate form ends
};

class Proxy_example_event : public Vorn35::Proxy_event {
public:
    Proxy_example_event() : Proxy_event(c_example_code) {}

    bool example_event_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error example_event_link(double _limit, double* _time_) { return await_link_return(async_link(_limit), _time_); }
    Vorn35::Promise_ example_event_async_link(double _limit) { return async_link(_limit); }
    Error example_event_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void example_event_unlink() { unlink(); }

    using Vorn35::Proxy_event::on_unlink;
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_example_event_unlink(); }
    void on_event(const void* _event_, Pksize _size, double _elapsed) override {
        on_example_event(typed<Example_output>(_event_, _size), _elapsed);
    }

    virtual void on_example_event_unlink() {}
    virtual void on_example_event(const Example_output*, double) {}

    // Delegate form
    Error example_event_delegate_link(Msg_num* _num_, double _limit) { return delegate_link(_num_, _limit); }

    virtual void on_example_event_link(Msg_num, Error, double) {}

    void on_link(Msg_num _num, Error _err, double _time) override { on_example_event_link(_num, _err, _time); }
    // Delegate form ends
};

class Proxy_example_information : public Vorn35::Proxy_information {
public:
    Proxy_example_information() : Proxy_information(c_example_code) {}

    bool example_information_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error example_information_link(bool _reliability, double _limit, double* _time_) {
        return await_link_return(async_link(_reliability, _limit), _time_);
    }
    Vorn35::Promise_ example_information_async_link(bool _reliability, double _limit) {
        return async_link(_reliability, _limit);
    }
    Error example_information_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void example_information_unlink() { unlink(); }

    void example_information_set_sync(bool _use_on_sync) { set_sync(_use_on_sync); }
    Vorn35::Letter_case_ example_information_see_history(std::size_t _size) { return see_history(_size); }
    void example_information_set_history_size(std::size_t _size) { set_history_size(_size); }
    Error example_information_read(Example_output* _output_) {
        Pksize size = sizeof *_output_;
        return read(_output_, &size);
    }

    using Vorn35::Proxy_information::on_unlink;
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_example_information_unlink(); }
    void on_sync(Sync_model _model, double _elapsed, double _limit, const void* _buf_, Pksize _size) override {
        on_example_information_sync(_model, _elapsed, _limit, typed<Example_output>(_buf_, _size));
    }

    virtual void on_example_information_unlink() {}
    virtual void on_example_information_sync(Sync_model, double, double, const Example_output*) {}

    // Delegate form
    Error example_information_delegate_link(bool _reliability, Msg_num* _num_, double _limit) {
        return delegate_link(_num_, _reliability, _limit);
    }

    virtual void on_example_information_link(Msg_num, Error, double) {}

    void on_link(Msg_num _num, Error _err, double _time) override { on_example_information_link(_num, _err, _time); }
    // Delegate form ends
};

class Proxy_example_signal : public Vorn35::Proxy_signal {
public:
    Proxy_example_signal() : Proxy_signal(c_example_code) {}

    Error example_signal(const Example_input* _input_, double _limit, double* _time_) {
        return signal(_input_, sizeof *_input_, _limit, _time_);
    }
    Vorn35::Promise_ example_signal_async_signal(const Example_input* _input_, double _limit) {
        return async_signal(_input_, sizeof *_input_, _limit);
    }
    Error example_signal_await_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_return(_promise_, _time_);
    }
    void example_signal_cancel(Error _error) { cancel(_error); }

    // Delegate form
    Error example_delegate_signal(Msg_num* _num_, const Example_input* _input_, double _limit) {
        return delegate_signal(_num_, _input_, sizeof *_input_, _limit);
    }

    virtual void on_example_sig_return(Msg_num, Error, double) {}

    void on_return(Msg_num _num, Error _err, double _elapsed) override { on_example_sig_return(_num, _err, _elapsed); }
    // Delegate form ends
};
