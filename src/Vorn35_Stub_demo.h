/// @file
/// The service of the demonstration: each handler prints one line. Nothing is flushed here.
#pragma once

#include <cstdio>

#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_utility.h"
#include "Vorn35_Stub_interface.h"

class Stub : public Stub_interface {
public:
    void on_connect(Addr _proxy) override { print("on_connect", _proxy); }
    void on_disconnect(Addr _proxy) override { print("on_disconnect", _proxy); }

    // Both calls report 1 together with a good result, so that the client sees a failure.
    Error on_example_call(Addr _proxy, const Example_input* _in_, Example_output* _out_, double, double) override {
        print_square("on_example_call", _proxy, _in_, _out_);
        return 1;
    }
    Error on_sample_call(Addr _proxy, const Sample_input* _in_, Sample_output* _out_, double, double) override {
        print_square("on_sample_call", _proxy, _in_, _out_);
        return 1;
    }
    void on_example_call_cancel(Addr _proxy, Error _error) override {
        print_error("on_example_call_cancel", _proxy, _error);
    }
    void on_sample_call_cancel(Addr _proxy, Error _error) override {
        print_error("on_sample_call_cancel", _proxy, _error);
    }

    void on_example_signal(Addr _proxy, const Example_input* _in_, double) override {
        print_signal("on_example_signal", _proxy, _in_);
    }
    void on_sample_signal(Addr _proxy, const Sample_input* _in_, double) override {
        print_signal("on_sample_signal", _proxy, _in_);
    }
    void on_example_signal_cancel(Addr _proxy, Error _error) override {
        print_error("on_example_signal_cancel", _proxy, _error);
    }
    void on_sample_signal_cancel(Addr _proxy, Error _error) override {
        print_error("on_sample_signal_cancel", _proxy, _error);
    }

    // The link of the example event is always refused.
    Error on_example_event_link(Addr _proxy, double, double) override {
        print("on_example_event_link", _proxy);
        return 1;
    }
    Error on_sample_event_link(Addr _proxy, double, double) override {
        print("on_sample_event_link", _proxy);
        return 0;
    }
    void on_example_event_unlink(Addr _proxy, Error) override { print("on_example_event_unlink", _proxy); }
    void on_sample_event_unlink(Addr _proxy, Error) override { print("on_sample_event_unlink", _proxy); }

    Error on_example_command_link(Addr _proxy, double, double) override {
        print("on_example_command_link", _proxy);
        return 0;
    }
    Error on_sample_command_link(Addr _proxy, double, double) override {
        print("on_sample_command_link", _proxy);
        return 0;
    }
    void on_example_command_unlink(Addr _proxy, Error) override { print("on_example_command_unlink", _proxy); }
    void on_sample_command_unlink(Addr _proxy, Error) override { print("on_sample_command_unlink", _proxy); }
    void on_example_command_sync(Addr _proxy, Sync_model, double, double, const Example_input* _in_) override {
        print_value("on_example_command_sync", _proxy, _in_);
    }
    void on_sample_command_sync(Addr _proxy, Sync_model, double, double, const Sample_input* _in_) override {
        print_value("on_sample_command_sync", _proxy, _in_);
    }

    Error on_example_information_link(Addr _proxy, bool, double, double) override {
        print("on_example_information_link", _proxy);
        return 0;
    }
    Error on_sample_information_link(Addr _proxy, bool, double, double) override {
        print("on_sample_information_link", _proxy);
        return 0;
    }
    void on_example_information_unlink(Addr _proxy, Error) override { print("on_example_information_unlink", _proxy); }
    void on_sample_information_unlink(Addr _proxy, Error) override { print("on_sample_information_unlink", _proxy); }

private:
    static void print(const char* _what, Addr _proxy) {
        std::printf("stub %s(%s:%d)\n", _what, Vorn35::inet_ntoa(_proxy.ip), _proxy.port);
    }
    static void print_error(const char* _what, Addr _proxy, Error _error) {
        std::printf("stub %s(%s:%d, err=%s)\n", _what, Vorn35::inet_ntoa(_proxy.ip), _proxy.port,
                    Vorn35::get_err_str(_error));
    }
    template <class Data>
    static void print_signal(const char* _what, Addr _proxy, const Data* _in_) {
        std::printf("stub %s(%s:%d , %d)\n", _what, Vorn35::inet_ntoa(_proxy.ip), _proxy.port, x_of(_in_));
    }
    template <class Data>
    static void print_value(const char* _what, Addr _proxy, const Data* _in_) {
        std::printf("stub %s(%s:%d, %d)\n", _what, Vorn35::inet_ntoa(_proxy.ip), _proxy.port, x_of(_in_));
    }
    template <class Input, class Output>
    static void print_square(const char* _what, Addr _proxy, const Input* _in_, Output* _out_) {
        const int x = x_of(_in_);
        // Any number may come in; the square of a large one wraps.
        _out_->x = static_cast<int>(static_cast<unsigned>(x) * static_cast<unsigned>(x));
        std::printf("stub %s(%s:%d, %d) = %d\n", _what, Vorn35::inet_ntoa(_proxy.ip), _proxy.port, x, _out_->x);
    }
};
