/// @file
/// A small client that keeps trying to reach one service, and follows one information of it.
#pragma once

#include "Vorn35/Proxy_information.h"

/// Follows information 0x3021 of the service at 127.0.0.1:52211 over an unreliable link, and prints a line
/// for everything that happens, each line flushed. Callbacks run on listener threads. The one instance lives
/// as long as the process.
class Component5 : public Vorn35::Proxy_information {
public:
    /// Starts the client whenever it is not started; looks each second and never returns.
    static int main();

    void on_connect() override;
    /// Stops the client. A stop inside a callback stays deferred, so that each later start meets the own
    /// address still in use: this client shows no reconnection.
    void on_disconnect() override;
    void on_unlink(Vorn35::Error _err) override;
    void on_link(Vorn35::Msg_num _msg_num, Vorn35::Error _err, double _time_) override;
    void on_sync(Vorn35::Sync_model _sync_model, double _elapsed_time, double _limit, const void* _buffer_,
                 Vorn35::Pksize _size) override;

private:
    Component5();

    /// Runtime up, instance made; not yet started.
    static void start();
    /// One pass of `main`.
    static void update();
    /// Nothing to take down: only the end of the process ends this client.
    static void do_disable() {}

    static Component5* proxy_;
};
