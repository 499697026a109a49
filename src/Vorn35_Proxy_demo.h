/// @file
/// The client of the demonstration: each handler prints one line. Nothing is flushed here.
#pragma once

#include <cstdio>

#include "Vorn35/vorn_error.h"
#include "Vorn35_Proxy_interface.h"

class Proxy : public Proxy_interface {
public:
    /// Links the example command, and so after each connection anew.
    void on_connect() override {
        std::printf("proxy on_connect\n");
        Msg_num num = 0;
        const Error err = example_command_delegate_link(&num, 1.0);
        std::printf("proxy example_command_delegate_link(%d) = %s\n", num, Vorn35::get_err_str(err));
    }
    void on_disconnect() override { std::printf("proxy on_disconnect\n"); }

    void on_example_datagram(Addr, const Example_output* _out_, double) override {
        std::printf("proxy on_example_datagram %d\n", x_of(_out_));
    }
    void on_sample_datagram(Addr, const Sample_output* _out_, double) override {
        std::printf("proxy on_sample_datagram %d\n", x_of(_out_));
    }

    void on_example_cal_return(Msg_num _num, Error _err, const Example_output* _out_, double _elapsed) override {
        if (_err == Vorn35::VORN_ERR_NONE_)
            std::printf("proxy on_example_cal_return(%d, %d, %d, %lf)\n", _num, _err, x_of(_out_), _elapsed);
        else
            std::printf("proxy on_example_cal_return(%d, %s, %lf)\n", _num, Vorn35::get_err_str(_err), _elapsed);
    }
    void on_sample_return(Msg_num _num, Error _err, const Sample_output* _out_, double _elapsed) override {
        std::printf("proxy on_sample_return(%d, %d, %d, %lf)\n", _num, _err, x_of(_out_), _elapsed);
    }
    void on_example_sig_return(Msg_num _num, Error _err, double _elapsed) override {
        std::printf("proxy on_example_sig_return(%d, %d, %lf)\n", _num, _err, _elapsed);
    }

    void on_example_event_link(Msg_num _num, Error _err, double _time) override {
        print_link("on_example_event_link", _num, _err, _time);
    }
    void on_example_command_link(Msg_num _num, Error _err, double _time) override {
        print_link("on_example_command_link", _num, _err, _time);
    }
    void on_example_information_link(Msg_num _num, Error _err, double _time) override {
        print_link("on_example_information_link", _num, _err, _time);
    }

    void on_example_event(const Example_output* _out_, double) override {
        std::printf("proxy on_example_event %d\n", x_of(_out_));
    }
    void on_sample_event(const Sample_output* _out_, double) override {
        std::printf("proxy on_sample_event %d\n", x_of(_out_));
    }
    void on_example_information_sync(Sync_model, double, double, const Example_output* _out_) override {
        std::printf("proxy on_example_information_sync %d\n", x_of(_out_));
    }
    void on_sample_information_sync(Sync_model, double, double, const Sample_output* _out_) override {
        std::printf("proxy on_sample_information_sync %d\n", x_of(_out_));
    }

    // The runtime does not come here: see `on_unlink` of the bindings.
    void on_example_event_unlink() override { std::printf("proxy on_example_event_unlink\n"); }
    void on_sample_event_unlink() override { std::printf("proxy on_sample_event_unlink\n"); }
    void on_example_command_unlink() override { std::printf("proxy on_example_command_unlink\n"); }
    void on_sample_command_unlink() override { std::printf("proxy on_sample_command_unlink\n"); }
    void on_example_information_unlink() override { std::printf("proxy on_example_information_unlink\n"); }
    void on_sample_information_unlink() override { std::printf("proxy on_sample_information_unlink\n"); }

private:
    static void print_link(const char* _what, Msg_num _num, Error _err, double _time) {
        std::printf("proxy %s(%d, %s, %lf)\n", _what, _num, Vorn35::get_err_str(_err), _time);
    }
};
