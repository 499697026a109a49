#include "Vorn35_Test5.h"

#include "Vorn35/vorn_utility.h"
#include "Vorn35_Test.h"

namespace {
constexpr const char* c_stub_address = "127.0.0.1";
constexpr Vorn35::Port c_stub_port = 52211;
constexpr Vorn35::Msg_code c_code = 0x3021;
constexpr double c_link_limit = 1.0;
constexpr bool c_reliability = false;
}  // namespace

Component5* Component5::proxy_ = nullptr;

Component5::Component5() : Proxy_information(c_code) {}

void Component5::start() {
    Vorn35::initialize();
    proxy_ = new Component5;
}

void Component5::update() {
    if (!proxy_->is_started()) {
        const Vorn35::Addr stub(Vorn35::inet_addr(c_stub_address), c_stub_port);
        print_flushed("proxy start err", proxy_->Proxy::start(stub));
    }
    sleep_a_second();
}

int Component5::main() {
    start();
    for (;;) update();
}

void Component5::on_connect() {
    print_flushed("on_connect");
    Vorn35::Msg_num num = 0;
    print_flushed("delegate_link", delegate_link(&num, c_reliability, c_link_limit));
}

void Component5::on_disconnect() {
    print_flushed("on_disconnect");
    Proxy::stop();
}

void Component5::on_unlink(Vorn35::Error) {
    print_flushed("on_unlink");
}

void Component5::on_link(Vorn35::Msg_num, Vorn35::Error, double) {
    print_flushed("on_link");
}

void Component5::on_sync(Vorn35::Sync_model, double, double, const void*, Vorn35::Pksize) {
    print_flushed("on_sync");
}
