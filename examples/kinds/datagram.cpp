#include <atomic>

#include "Vorn35/Vorn35.h"

struct Beacon : Vorn35::Stub_datagram {
    Beacon() : Stub_datagram(1) {}
    Vorn35::Error shine() { return broadcast("here", 4); }  // or cast(), to one host
};

struct Lookout : Vorn35::Proxy_datagram {
    Lookout() : Proxy_datagram(1) {}
    void on_datagram(Vorn35::Addr, const void*, Vorn35::Pksize, double) override { ++seen; }
    std::atomic<int> seen{0};
};
