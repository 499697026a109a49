#include "Vorn35/vorn_utility.h"
#include "Vorn35_Proxy_demo.h"
#include "Vorn35_Stub_demo.h"
#include "Vorn35_Test.h"

namespace {

void print_failure(const char* _what, Error _err) {
    if (_err != Vorn35::VORN_ERR_NONE_) std::printf("%s err = %s\n", _what, Vorn35::get_err_str(_err));
}

void both_ends() {
    Stub stub;
    Proxy proxy;

    Vorn35::Port port = 0;
    print_failure("stub start", stub.start("stub", &port));
    Addr addr;
    for (;;) {
        const std::size_t found = Vorn35::get_address("stub", &addr);
        std::printf("get_address = %zd\n", found);
        if (found != 0) break;
        sleep_a_second();
    }
    print_failure("proxy start", proxy.start(addr));
    wait_connected(proxy);

    for (int i = 0; i < 3; ++i) {
        std::printf("loop\n");
        const Example_input input{i};
        Msg_num num = 0;
        const Error err = proxy.example_delegate_call(&num, &input, 1.0);
        std::printf("proxy example_delegate_call err = %s, delegate_num=%d\n", Vorn35::get_err_str(err), num);
        sleep_a_second();
    }
    print_failure("stub stop", stub.stop());
    print_failure("proxy stop", proxy.stop());
}

}  // namespace

void test1() {
    Vorn35::initialize();
    try {
        both_ends();
    } catch (Error err) {
        std::printf("catch = %s\n", Vorn35::get_err_str(err));
    }
    Vorn35::finalize();
}
