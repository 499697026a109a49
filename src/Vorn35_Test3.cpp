#include <memory>

#include "Vorn35/Proxy_signal.h"
#include "Vorn35/Stub_signal.h"
#include "Vorn35/vorn_utility.h"
#include "Vorn35_Test.h"

namespace {

class my_signal : public Vorn35::Stub_signal {
public:
    my_signal(Vorn35::Msg_code _code, const Vorn35::Stub& _stub) : Stub_signal(_code, _stub, nullptr) {}

    void on_signal(Vorn35::Addr, const void*, Vorn35::Pksize, double) override {
        std::printf("------------------on_signal\n");
    }
    void on_signal_cancel(Vorn35::Addr, Vorn35::Error) override { std::printf("on_signal_cancel\n"); }
};

void signal_another_process() {
    auto stub = std::make_unique<Vorn35::Stub>();
    auto taken = std::make_unique<my_signal>(1, *stub);
    Vorn35::Proxy proxy;
    Vorn35::Proxy_signal given(1, proxy);

    Vorn35::Port port = 11003;
    stub->start("ssss", &port);
    // Not the name above: the signals go to a service of another process.
    Vorn35::Addr addr;
    while (Vorn35::get_address("stub", &addr) == 0) sleep_a_second();
    proxy.start(addr);

    const int data = 3;
    for (int i = 0; i < 500; ++i) {
        sleep_a_second();
        given.signal(&data, sizeof data, 1.0, nullptr);
    }
    proxy.stop();
    stub->stop();
    taken.reset();
    stub.reset();
}

}  // namespace

void Test3() {
    Vorn35::initialize();
    signal_another_process();
    Vorn35::finalize();
}
