#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "Vorn35/Vorn35.h"

int main() {
    using namespace std::chrono_literals;
    Vorn35::initialize(Vorn35::Runtime_options::reliable());
    Vorn35::Proxy_call greet(1);  // call 1 of a service
    Vorn35::Addr addr;
    // The name is found in milliseconds. Then the connection comes up in the background.
    while (Vorn35::get_address("hello", &addr) == 0) std::this_thread::sleep_for(1ms);
    greet.start(addr);
    while (!greet.is_connected()) std::this_thread::sleep_for(1ms);

    const Vorn35::Call_result answer = greet.call("client", 0.5);
    if (answer.error != 0) std::puts(Vorn35::get_err_str(answer.error));
    std::printf("%s, after %.0f us\n", std::string(answer.text()).c_str(), answer.seconds * 1e6);
    Vorn35::finalize();
}
