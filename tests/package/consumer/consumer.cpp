// Uses of the library all of which run without a network.
#include <cstdio>

#include "Vorn35/Vorn35.h"

namespace {

// Derives from the library's classes, so that tables of virtual functions and types are needed, too.
class Service : public Vorn35::Stub_call, public Vorn35::Stub_event {
public:
    Service() : Stub_call(1, 0), Stub_event(1) {}
};

}  // namespace

int main() {
    Service service;
    Vorn35::Stub* const stub = &service;
    Vorn35::Port port = 0;
    const Vorn35::History history;
    std::printf("%s %s %zu %d %s\n", Vorn35::get_err_str(service.start("service", &port)),
                Vorn35::inet_ntoa(Vorn35::inet_addr("198.51.100.7")), history.size(),
                dynamic_cast<Vorn35::Stub_call*>(stub) != nullptr, vorn35_version());
}
