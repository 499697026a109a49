#include <chrono>
#include <cstdio>
#include <thread>

#include "Vorn35/Vorn35.h"

int main() {
    Vorn35::initialize();
    Vorn35::Proxy_call hello(1);  // the client of call 1
    Vorn35::Addr addr;
    // Names are heard once a second; the connection then comes up in the background.
    while (Vorn35::get_address("hello", &addr) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    hello.start(addr);
    while (!hello.is_connected()) std::this_thread::sleep_for(std::chrono::milliseconds(1));

    char answer[64];
    Vorn35::Pksize size = sizeof answer;
    double seconds = 0;
    const Vorn35::Promise_ promise = hello.async_call("hello, service", 14, 1.0);
    const Vorn35::Error err = hello.await_return(promise, answer, &size, &seconds);
    if (err == Vorn35::VORN_ERR_NONE_) std::printf("%s, after %.0f us\n", answer, seconds * 1e6);
    if (err != Vorn35::VORN_ERR_NONE_) std::printf("%s\n", Vorn35::get_err_str(err));
    Vorn35::finalize();
}
