#include <atomic>

#include "Vorn35/Vorn35.h"

struct Bell : Vorn35::Stub_signal {
    Bell() : Stub_signal(1) {}
    void on_signal(Vorn35::Addr, const void*, Vorn35::Pksize, double) override { ++rung; }
    std::atomic<int> rung{0};
};

struct Visitor : Vorn35::Proxy_signal {
    Visitor() : Proxy_signal(1) {}
    Vorn35::Error ring() {
        Vorn35::Msg_num num = 0;
        return delegate_signal(&num, "ring", 4, 0.5);
    }
    void on_return(Vorn35::Msg_num, Vorn35::Error _err, double) override { arrived = _err == 0; }
    std::atomic<bool> arrived{false};
};
