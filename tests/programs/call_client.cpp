// call_client ADDRESS PORT COUNT LIMIT   so many blocking calls of 4 bytes; prints how they ended and how long they took
// call_client NAME                       finds and follows a service until its input ends, and says what changes: "up",
//                                        "down", "answered", "silent"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "Vorn35/Vorn35.h"

namespace {

using namespace Vorn35;

void say(const std::string& _what) {
    std::printf("%s\n", _what.c_str());
    std::fflush(stdout);
}

struct Client : Proxy_call {
    explicit Client(bool _tells) : Proxy_call(1), tells(_tells) {}
    void on_connect() override {
        if (tells) say("up");
    }
    void on_disconnect() override {
        if (tells) say("down");
    }
    /// One blocking call of 4 bytes.
    Error call(std::uint32_t _value, double _limit) {
        std::uint32_t answer = 0;
        Pksize size = sizeof answer;
        const Error err = await_return(async_call(&_value, sizeof _value, _limit), &answer, &size, nullptr);
        return err == 0 && (size != sizeof answer || answer != _value) ? -1 : err;
    }
    const bool tells;
};

int measure(Addr _service, unsigned _count, double _limit) {
    Client client(false);
    if (client.start(_service) != 0) return 1;
    while (!client.is_connected()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::vector<double> times;
    unsigned late = 0;
    unsigned failed = 0;
    const auto begin = std::chrono::steady_clock::now();
    const auto since = [](auto _clock) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - _clock).count();
    };
    for (unsigned i = 0; i < _count; ++i) {
        const auto asked = std::chrono::steady_clock::now();
        const Error err = client.call(i, _limit);
        if (err == 0) times.push_back(since(asked));
        if (err == VORN_ERR_LOCAL_TIMEOUT_) ++late;
        if (err != 0 && err != VORN_ERR_LOCAL_TIMEOUT_) ++failed;
    }
    const double all = since(begin);
    std::sort(times.begin(), times.end());
    const auto quantile = [&times](std::size_t _percent) {
        return times.empty() ? 0.0 : times[std::min(times.size() - 1, times.size() * _percent / 100)] * 1e6;
    };
    std::printf("calls %u answered %zu local_timeout %u failed %u p50_us %.1f p99_us %.1f seconds %.2f\n", _count,
                times.size(), late, failed, quantile(50), quantile(99), all);
    return failed == 0 && times.size() + late == _count ? 0 : 1;
}

void follow(const char* _name, const std::atomic<bool>& _done) {
    Client client(true);
    Addr service;
    while (get_address(_name, &service) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    say("found");
    client.start(service);
    std::string last;
    for (std::uint32_t i = 0; !_done; ++i) {
        const Error err = client.call(i, 0.2);
        // A wait that began too late says nothing; several in a row do.
        static int timeouts = 0;
        timeouts = err == VORN_ERR_LOCAL_TIMEOUT_ ? timeouts + 1 : 0;
        const std::string now = err == 0 ? "answered" : timeouts > 4 ? "silent" : last;
        if (now != last) say(now);
        last = now;
        if (err != 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace

int main(int _count, char** _arguments) {
    initialize();
    int result = 0;
    if (_count > 2) {
        result = measure({inet_addr(_arguments[1]), static_cast<Port>(std::atoi(_arguments[2]))},
                         static_cast<unsigned>(std::atoi(_arguments[3])), std::atof(_arguments[4]));
    } else {
        std::atomic<bool> done{false};
        std::thread following([&] { follow(_arguments[1], done); });
        while (std::getchar() != EOF) {
        }
        done = true;
        following.join();
    }
    finalize();
    return result;
}
