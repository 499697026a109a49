/// @file
/// Client side of the interface set `sample`: the six kinds, speaking in the structures of the set.
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

class Proxy_sample_datagram : public Vorn35::Proxy_datagram {
public:
    Proxy_sample_datagram() : Proxy_datagram(c_sample_code) {}

    virtual void on_sample_datagram(Addr, const Sample_output*, double) {}

protected:
    void on_datagram(Addr _stub, const void* _buf_, Pksize _size, double _elapsed) override {
        on_sample_datagram(_stub, typed<Sample_output>(_buf_, _size), _elapsed);
    }
};

class Proxy_sample_call : public Vorn35::Proxy_call {
public:
    Proxy_sample_call() : Proxy_call(c_sample_code) {}

    /// Blocking: asks and waits.
    Error sample_call(const Sample_input* _input_, Sample_output* _output_, double _limit, double* _time_) {
        return sample_call_await_return(sample_call_async_call(_input_, _limit), _output_, _time_);
    }
    Vorn35::Promise_ sample_call_async_call(const Sample_input* _input_, double _limit) {
        return async_call(_input_, sizeof *_input_, _limit);
    }
    Error sample_call_await_return(Vorn35::Promise_ _promise_, Sample_output* _output_, double* _time_) {
        Pksize size = sizeof *_output_;
        return await_return(_promise_, _output_, &size, _time_);
    }
    void sample_call_cancel(Error _error) { cancel(_error); }

    virtual void on_sample_return(Msg_num, Error, const Sample_output*, double) {}

    void on_return(Msg_num _num, Error _err, const void* _ret_, Pksize _size, double _elapsed) override {
        on_sample_return(_num, _err, typed<Sample_output>(_ret_, _size), _elapsed);
    }
};

class Proxy_sample_command : public Vorn35::Proxy_command {
public:
    Proxy_sample_command() : Proxy_command(c_sample_code) {}

    bool sample_command_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error sample_command_link(double _limit, double* _time_) { return await_link_return(async_link(_limit), _time_); }
    Vorn35::Promise_ sample_command_async_link(double _limit) { return async_link(_limit); }
    Error sample_command_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void sample_command_unlink() { unlink(); }

    void sample_command_set_sync_model(bool _reliability, Sync_model _model, double _interval) {
        set_sync_model(_reliability, _model, _interval);
    }
    Sample_input* sample_command_get() { return static_cast<Sample_input*>(get(sizeof(Sample_input))); }
    void sample_command_cancel() { cancel(); }
    Error sample_command_post() { return post(sizeof(Sample_input)); }
    Error sample_command_write(const Sample_input* _input_) { return write(_input_, sizeof *_input_); }
    Vorn35::Letter_case_ sample_command_see_history(std::size_t _size) { return see_history(_size); }
    void sample_command_set_history_size(std::size_t _size) { set_history_size(_size); }
    Error sample_command_read(Sample_input* _input_) {
        Pksize size = sizeof *_input_;
        return read(_input_, &size);
    }

protected:
    using Vorn35::Proxy_command::on_unlink;

public:
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_sample_command_unlink(); }

    virtual void on_sample_command_unlink() {}
};

class Proxy_sample_event : public Vorn35::Proxy_event {
public:
    Proxy_sample_event() : Proxy_event(c_sample_code) {}

    bool sample_event_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error sample_event_link(double _limit, double* _time_) { return await_link_return(async_link(_limit), _time_); }
    Vorn35::Promise_ sample_event_async_link(double _limit) { return async_link(_limit); }
    Error sample_event_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void sample_event_unlink() { unlink(); }

    using Vorn35::Proxy_event::on_unlink;
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_sample_event_unlink(); }
    void on_event(const void* _event_, Pksize _size, double _elapsed) override {
        on_sample_event(typed<Sample_output>(_event_, _size), _elapsed);
    }

    virtual void on_sample_event_unlink() {}
    virtual void on_sample_event(const Sample_output*, double) {}
};

class Proxy_sample_information : public Vorn35::Proxy_information {
public:
    Proxy_sample_information() : Proxy_information(c_sample_code) {}

    bool sample_information_is_linked() { return is_linked(); }
    /// Blocking: asks and waits.
    Error sample_information_link(bool _reliability, double _limit, double* _time_) {
        return await_link_return(async_link(_reliability, _limit), _time_);
    }
    Vorn35::Promise_ sample_information_async_link(bool _reliability, double _limit) {
        return async_link(_reliability, _limit);
    }
    Error sample_information_await_link_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_link_return(_promise_, _time_);
    }
    void sample_information_unlink() { unlink(); }

    void sample_information_set_sync(bool _use_on_sync) { set_sync(_use_on_sync); }
    Vorn35::Letter_case_ sample_information_see_history(std::size_t _size) { return see_history(_size); }
    void sample_information_set_history_size(std::size_t _size) { set_history_size(_size); }
    Error sample_information_read(Sample_output* _output_) {
        Pksize size = sizeof *_output_;
        return read(_output_, &size);
    }

    using Vorn35::Proxy_information::on_unlink;
    /// A slot of its own, which the runtime does not call: the end of a link goes to `on_unlink(Error)`.
    virtual void on_unlink() { on_sample_information_unlink(); }
    void on_sync(Sync_model _model, double _elapsed, double _limit, const void* _buf_, Pksize _size) override {
        on_sample_information_sync(_model, _elapsed, _limit, typed<Sample_output>(_buf_, _size));
    }

    virtual void on_sample_information_unlink() {}
    virtual void on_sample_information_sync(Sync_model, double, double, const Sample_output*) {}
};

class Proxy_sample_signal : public Vorn35::Proxy_signal {
public:
    Proxy_sample_signal() : Proxy_signal(c_sample_code) {}

    Error sample_signal(const Sample_input* _input_, double _limit, double* _time_) {
        return signal(_input_, sizeof *_input_, _limit, _time_);
    }
    Vorn35::Promise_ sample_signal_async_signal(const Sample_input* _input_, double _limit) {
        return async_signal(_input_, sizeof *_input_, _limit);
    }
    Error sample_signal_await_return(Vorn35::Promise_ _promise_, double* _time_) {
        return await_return(_promise_, _time_);
    }
    void sample_signal_cancel(Error _error) { cancel(_error); }
};
