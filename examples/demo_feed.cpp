/// A service for `vorn35_demo` to follow: publishes a counting number as information 0x3021 on port 52211,
/// ten times a second, to reliable and unreliable links alike.
///
///     demo_feed [seconds]
///
/// Ends after so many seconds, or without a number at the end of its input.

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Vorn35/Stub_information.h"
#include "Vorn35/vorn_error.h"
#include "Vorn35/vorn_utility.h"

using namespace Vorn35;
using namespace std::chrono_literals;

namespace {

constexpr Port c_port = 52211;
constexpr Msg_code c_code = 0x3021;
constexpr auto c_interval = 100ms;

/// Tells who links, on a line of its own.
class Feed : public Stub_information {
public:
    Feed() : Stub_information(c_code) {}

private:
    Error on_link(Addr _client, bool _reliability, double, double) override {
        std::printf("link of %s:%d, %s\n", inet_ntoa(_client.ip), _client.port,
                    _reliability ? "reliable" : "unreliable");
        return VORN_ERR_NONE_;
    }
    void on_unlink(Addr _client, Error _err) override {
        std::printf("unlink of %s:%d, %s\n", inet_ntoa(_client.ip), _client.port, get_err_str(_err));
    }
};

/// Sleeps for one interval, or less when there is input. False: the input has ended.
bool sleep_over_input() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, std::chrono::milliseconds(c_interval).count()) <= 0) return true;
    char ignored[256];
    return read(STDIN_FILENO, ignored, sizeof ignored) > 0;
}

}  // namespace

int main(int _count, char** _arguments) {
    const bool timed = _count > 1;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(timed ? std::atoi(_arguments[1]) : 0);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    initialize();
    Error started = VORN_ERR_NONE_;
    Feed feed;
    Port port = c_port;
    started = feed.start(nullptr, &port);  // found by its address, without a name
    std::printf("start: %s\n", get_err_str(started));
    for (int value = 0; started == VORN_ERR_NONE_; ++value) {
        feed.write(&value, sizeof value);
        if (timed) {
            if (std::chrono::steady_clock::now() >= end) break;
            std::this_thread::sleep_for(c_interval);
        } else if (!sleep_over_input()) {
            break;
        }
    }
    finalize();
    return started == VORN_ERR_NONE_ ? 0 : 1;
}
