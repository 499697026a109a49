#include "Vorn35/vorn_utility.h"

#include <chrono>

#include "Kestrane/_inet.h"

namespace Vorn35 {

IP inet_addr(const char* _text_) {
    return Kestrane::inet_addr(_text_);
}

const char* inet_ntoa(IP _ip) {
    return Kestrane::inet_ntoa(_ip);
}

Clock get_cpu_clock() {
    using std::chrono::nanoseconds;
    const auto since_start = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<Clock>(std::chrono::duration_cast<nanoseconds>(since_start).count());
}

Clock get_cpu_hz() {
    return 1000000000;
}

}  // namespace Vorn35
