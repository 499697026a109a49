#include <atomic>

#include "Vorn35/Vorn35.h"

struct Door : Vorn35::Stub_event {
    Door() : Stub_event(1) {}
    void open() { event("open", 4); }  // to each client that is linked now
};

struct Guard : Vorn35::Proxy_event {
    Guard() : Proxy_event(1) {}
    void on_connect() override {  // also after a loss: a link does not come back by itself
        Vorn35::Msg_num num = 0;
        delegate_link(&num, 0.5);
    }
    void on_event(const void*, Vorn35::Pksize, double) override { ++heard; }
    std::atomic<int> heard{0};
};
