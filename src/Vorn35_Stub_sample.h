/// @file
/// Service side of the interface set `sample`: the six kinds, speaking in the structures of the set.
///
/// Every operation is the one of the base class that its name ends in, with the size filled in; every `on_`
/// operation is that of the base class with the payload as a structure, null where there is none.
#pragma once

#include "Vorn35/Stub_call.h"
#include "Vorn35/Stub_command.h"
#include "Vorn35/Stub_datagram.h"
#include "Vorn35/Stub_event.h"
#include "Vorn35/Stub_information.h"
#include "Vorn35/Stub_signal.h"
#include "Vorn35_Example_Data.h"

class Stub_sample_call : public Vorn35::Stub_call {
public:
    Stub_sample_call() : Stub_call(c_sample_code, sizeof(Sample_output)) {}

    /// The size stays as the service set it up: an answer is always the whole structure.
    Error on_call(Addr _proxy, const void* _in_, Pksize _in_size, void* _out_, Pksize*, double _elapsed,
                  double _limit) override {
        auto* const output = static_cast<Sample_output*>(_out_);
        return on_sample_call(_proxy, typed<Sample_input>(_in_, _in_size), output, _elapsed, _limit);
    }
    void on_call_cancel(Addr _proxy, Error _error) override { on_sample_call_cancel(_proxy, _error); }

    virtual Error on_sample_call(Addr, const Sample_input*, Sample_output*, double, double) { return 0; }
    virtual void on_sample_call_cancel(Addr, Error) {}
};

class Stub_sample_signal : public Vorn35::Stub_signal {
public:
    Stub_sample_signal() : Stub_signal(c_sample_code) {}

    void on_signal(Addr _proxy, const void* _buf_, Pksize _size, double _elapsed) override {
        on_sample_signal(_proxy, typed<Sample_input>(_buf_, _size), _elapsed);
    }
    void on_signal_cancel(Addr _proxy, Error _error) override { on_sample_signal_cancel(_proxy, _error); }

    virtual void on_sample_signal(Addr, const Sample_input*, double) {}
    virtual void on_sample_signal_cancel(Addr, Error) {}
};

class Stub_sample_event : public Vorn35::Stub_event {
public:
    Stub_sample_event() : Stub_event(c_sample_code) {}

    void sample_event_unlink_all_proxy() { unlink_all_proxy(); }
    void sample_event_unlink(Addr _proxy) { unlink(_proxy); }
    Error sample_event(const Sample_output* _output_) { return event(_output_, sizeof *_output_); }
    Error sample_event() { return event(); }

    Error on_link(Addr _proxy, double _elapsed, double _limit) override {
        return on_sample_event_link(_proxy, _elapsed, _limit);
    }
    void on_unlink(Addr _proxy, Error _error) override { on_sample_event_unlink(_proxy, _error); }

    virtual Error on_sample_event_link(Addr, double, double) { return 0; }
    virtual void on_sample_event_unlink(Addr, Error) {}
};

class Stub_sample_command : public Vorn35::Stub_command {
public:
    Stub_sample_command() : Stub_command(c_sample_code) {}

    void sample_command_unlink_all_proxy() { unlink_all_proxy(); }
    void sample_command_unlink(Addr _proxy) { unlink(_proxy); }
    void sample_command_set_sync(bool _use_on_sync) { set_sync(_use_on_sync); }
    Vorn35::Letter_case_ sample_command_see_history(Addr _proxy, std::size_t _size) {
        return see_history(_proxy, _size);
    }
    void sample_command_set_history_size(std::size_t _size) { set_history_size(_size); }
    Error sample_command_read(Addr _proxy, Sample_input* _input_) {
        Pksize size = sizeof *_input_;
        return read(_proxy, _input_, &size);
    }

    void on_sync(Addr _proxy, Sync_model _model, double _elapsed, double _limit, const void* _buf_,
                 const Pksize _size) override {
        on_sample_command_sync(_proxy, _model, _elapsed, _limit, typed<Sample_input>(_buf_, _size));
    }
    Error on_link(Addr _proxy, double _elapsed, double _limit) override {
        return on_sample_command_link(_proxy, _elapsed, _limit);
    }
    void on_unlink(Addr _proxy, Error _error) override { on_sample_command_unlink(_proxy, _error); }

    virtual void on_sample_command_sync(Addr, Sync_model, double, double, const Sample_input*) {}
    virtual Error on_sample_command_link(Addr, double, double) { return 0; }
    virtual void on_sample_command_unlink(Addr, Error) {}
};

class Stub_sample_information : public Vorn35::Stub_information {
public:
    Stub_sample_information() : Stub_information(c_sample_code) {}

    void sample_information_set_sync_model(Sync_model _model, double _interval) { set_sync_model(_model, _interval); }
    void sample_information_unlink_all_proxy() { unlink_all_proxy(); }
    void sample_information_unlink(Addr _proxy) { unlink(_proxy); }
    Sample_output* sample_information_get() { return static_cast<Sample_output*>(get(sizeof(Sample_output))); }
    void sample_information_cancel() { cancel(); }
    Error sample_information_post() { return post(sizeof(Sample_output)); }
    Error sample_information_write(const Sample_output* _output_) { return write(_output_, sizeof *_output_); }
    Vorn35::Letter_case_ sample_information_see_history(std::size_t _size) { return see_history(_size); }
    Error sample_information_read(Sample_output* _output_) {
        Pksize size = sizeof *_output_;
        return read(_output_, &size);
    }
    /// The one operation whose name does not tell the set.
    using Vorn35::Stub_information::set_history_size;

    Error on_link(Addr _proxy, bool _reliability, double _elapsed, double _limit) override {
        return on_sample_information_link(_proxy, _reliability, _elapsed, _limit);
    }
    void on_unlink(Addr _proxy, Error _error) override { on_sample_information_unlink(_proxy, _error); }

    virtual Error on_sample_information_link(Addr, bool, double, double) { return 0; }
    virtual void on_sample_information_unlink(Addr, Error) {}
};

class Stub_sample_datagram : public Vorn35::Stub_datagram {
public:
    Stub_sample_datagram() : Stub_datagram(c_sample_code) {}

    Error sample_datagram_broadcast(const Sample_output* _output_) { return broadcast(_output_, sizeof *_output_); }
    Error sample_datagram_cast(IP _ip, const Sample_output* _output_) { return cast(_ip, _output_, sizeof *_output_); }
};
