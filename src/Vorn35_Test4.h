/// @file
/// A small service with a start and stop loop.
#pragma once

#include "Vorn35/Stub.h"

/// Prints a line when a client comes or goes, each line flushed. Callbacks run on listener threads.
class Component4 : public Vorn35::Stub {
public:
    /// 1000 times: up for ten seconds under the name "stub", away for ten seconds.
    static void main();

    void on_connect(Vorn35::Addr _proxy_addr) override;
    void on_disconnect(Vorn35::Addr _proxy_addr) override;

private:
    /// Runtime and service up.
    static void start();
    /// One second of service.
    static void update();
    /// Service and runtime down.
    static void do_disable();

    static Component4* stub_;
};
