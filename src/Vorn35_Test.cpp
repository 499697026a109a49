#include "Vorn35_Test.h"

#include <chrono>
#include <thread>

void sleep_a_second() {
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

void wait_connected(Vorn35::Proxy& _proxy) {
    for (int i = 0; i < 10 && !_proxy.is_connected(); ++i) sleep_a_second();
    if (!_proxy.is_connected()) throw Vorn35::VORN_ERR_NOT_CONNECTED_TCP_;
}
