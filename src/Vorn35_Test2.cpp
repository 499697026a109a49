#include "Vorn35/vorn_utility.h"
#include "Vorn35_Proxy_demo.h"
#include "Vorn35_Test.h"

namespace {

void follow_something() {
    Proxy proxy;
    Addr addr;
    while (Vorn35::get_address("something", &addr) == 0) sleep_a_second();
    if (const Error err = proxy.start(addr); err != Vorn35::VORN_ERR_NONE_) throw err;
    wait_connected(proxy);
    for (int i = 0; i < 1000; ++i) sleep_a_second();
    proxy.stop();
}

}  // namespace

void test2() {
    Vorn35::initialize();
    try {
        follow_something();
    } catch (Error err) {
        std::printf("catch = %s\n", Vorn35::get_err_str(err));
    }
    Vorn35::finalize();
}
