#include <cstdio>
#include <string>

#include "Vorn35/Vorn35.h"

int main() {
    Vorn35::initialize(Vorn35::Runtime_options::reliable());
    // Call 1. The function runs on a thread of the runtime, one call at a time.
    Vorn35::Stub_call_function greet(1, [](const Vorn35::Call_request& _request) {
        return Vorn35::Call_result("hello, " + std::string(_request.text()));
    });
    Vorn35::Port port = 0;  // any
    std::puts(Vorn35::get_err_str(greet.start("hello", &port)));
    std::getchar();  // until Enter is pressed
    Vorn35::finalize();
}
