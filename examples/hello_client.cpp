#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "Vorn35/Vorn35.h"

int main() {
    using namespace std::chrono_literals;
    Vorn35::initialize();
    Vorn35::Proxy_call greet(1);  // call 1 of a service
    Vorn35::Addr addr;
    // A service announces its name once a second. Then the connection comes up in the background.
    while (Vorn35::get_address("hello", &addr) == 0) std::this_thread::sleep_for(50ms);
    greet.start(addr);
    while (!greet.is_connected()) std::this_thread::sleep_for(1ms);

    Vorn35::Call_result answer;
    do {  // A wait can miss its answer; this call may run twice, so it is repeated.
        answer = greet.call("client", 0.5);
    } while (answer.error == Vorn35::VORN_ERR_LOCAL_TIMEOUT_);
    if (answer.error != 0) std::puts(Vorn35::get_err_str(answer.error));
    std::printf("%s, after %.0f us\n", std::string(answer.text()).c_str(), answer.seconds * 1e6);
    Vorn35::finalize();
}
