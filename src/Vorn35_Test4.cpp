#include "Vorn35_Test4.h"

#include "Vorn35/vorn_utility.h"
#include "Vorn35_Test.h"

namespace {
constexpr int c_outer_passes = 1000;
constexpr int c_inner_passes = 10;
constexpr Vorn35::Port c_first_port = 10000;
}  // namespace

Component4* Component4::stub_ = nullptr;

void Component4::start() {
    Vorn35::initialize();
    stub_ = new Component4;
    Vorn35::Port port = c_first_port;
    print_flushed("stub_ start err", stub_->Stub::start("stub", &port));
}

void Component4::update() {
    print_flushed("update");
    sleep_a_second();
}

void Component4::do_disable() {
    if (stub_->is_started()) {
        const Vorn35::Error err = stub_->stop();
        if (err != Vorn35::VORN_ERR_NONE_) print_flushed("stub_ stop err", err);
    }
    delete stub_;
    stub_ = nullptr;
    Vorn35::finalize();
}

void Component4::main() {
    for (int outer = 0; outer < c_outer_passes; ++outer) {
        start();
        for (int inner = 0; inner < c_inner_passes; ++inner) update();
        do_disable();
        for (int inner = 0; inner < c_inner_passes; ++inner) {
            print_flushed("wait");
            sleep_a_second();
        }
    }
}

void Component4::on_connect(Vorn35::Addr) {
    print_flushed("on_connect");
}

void Component4::on_disconnect(Vorn35::Addr) {
    print_flushed("on_disconnect");
}

void test4() {
    Component4::main();
}
