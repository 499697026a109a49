// many_clients serve PORT              answers calls until its input ends; says "ready", then a line of its size and
//                                      processor time for each line of input
// many_clients connect PORT COUNT      so many clients of that service, all in this process: each by an address of its own
//                                      of the loopback. Then it does what its input says:
//     EACH FRESH SPREAD                that many calls of each client, the next after the answer, begun within SPREAD
//                                      seconds. FRESH 1: each call goes out behind a cancel, whose number, 0, is
//                                      nobody's repeat
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "programs/load.h"

namespace {

using namespace load;

void raise_descriptor_limit() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

struct Service : Stub_call {
    Service() : Stub_call(1, sizeof(std::uint32_t)) {}
    void on_connect(Addr) override { ++clients; }
    void on_disconnect(Addr) override { --clients; }
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        *_size_ = std::min(_in_size, *_size_);
        if (*_size_ != 0) std::memcpy(_out_, _in, *_size_);
        return 0;
    }
    std::atomic<int> clients{0};
};

int serve(Port _port) {
    initialize();
    count_refusals();
    Service service;
    const Error err = service.start(nullptr, &_port);
    std::cout << (err == 0 ? "ready" : "failed") << std::endl;
    for (std::string line; err == 0 && std::getline(std::cin, line);) {
        const Size size = size_now();
        std::cout << size.resident_kib << ' ' << size.descriptors << ' ' << processor_seconds() << ' '
                  << service.clients << ' ' << refusals(EMsg::delegate_call) << std::endl;
    }
    finalize();
    return err;
}

/// Each of its calls follows the answer to the one before it; one that is not answered is repeated after a while.
class Client : public Proxy_call {
public:
    explicit Client(unsigned _seed) : Proxy_call(1), random(_seed) {}

    /// @param _fresh each call goes out behind a cancel.
    void begin(unsigned _calls, bool _fresh, double _spread) {
        const std::lock_guard lock(mutex);
        left = _calls;
        answered = repeated = 0;
        fresh = _fresh;
        asked = false;
        ask_within(0, _spread);
    }
    /// To be called again and again. @return whether all calls are answered.
    bool go_on() {
        const std::lock_guard lock(mutex);
        if (left == 0) return true;
        if (std::chrono::steady_clock::now() >= ask_at) ask();
        return false;
    }
    void end(Count* _answered_, Count* _repeated_) {
        const std::lock_guard lock(mutex);
        left = 0;
        *_answered_ += answered;
        *_repeated_ += repeated;
    }

private:
    void on_return(Msg_num _num, Error _err, const void*, Pksize, double) override {
        const std::lock_guard lock(mutex);
        if (_err != 0 || left == 0 || _num != num) return;  // an answer to one that was given up
        ++answered;
        asked = false;
        if (--left != 0) ask();
    }
    void ask() {
        if (std::exchange(asked, true)) ++repeated;
        ask_within(0.5, 1.5);
        if (fresh) cancel(0);
        delegate_call(&num, nullptr, 0, 1);
    }
    void ask_within(double _from, double _to) {
        const std::chrono::duration<double> wait(std::uniform_real_distribution<>(_from, _to)(random));
        ask_at = std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::nanoseconds>(wait);
    }

    std::mutex mutex;  ///< Guards the rest. The runtime's locks come after it.
    std::minstd_rand random;
    unsigned left = 0;
    unsigned answered = 0;
    unsigned repeated = 0;
    bool fresh = false;
    bool asked = false;  ///< One call is outstanding, or was lost.
    Msg_num num = 0;
    std::chrono::steady_clock::time_point ask_at;
};

using Clients = std::vector<std::unique_ptr<Client>>;

/// A notice that a full pipe refused leaves a client "not connected" although its connection stands: it is started again.
void connect_all(const Clients& _clients, Port _port) {
    const auto begin = std::chrono::steady_clock::now();
    const auto address = [_port](std::size_t _i) {
        const auto third = static_cast<IP>(_i / 250);
        const auto fourth = static_cast<IP>(_i % 250 + 1);
        return Addr(127 | third << 16 | fourth << 24, _port);  // as it travels
    };
    const auto connected = [&_clients] {
        return std::count_if(_clients.begin(), _clients.end(), [](const auto& _one) { return _one->is_connected(); });
    };
    const auto all = static_cast<std::ptrdiff_t>(_clients.size());
    for (std::size_t i = 0; i < _clients.size(); ++i) _clients[i]->start(address(i));
    Count restarted = 0;
    while (!eventually(5, [&] { return connected() == all; })) {
        for (std::size_t i = 0; i < _clients.size(); ++i) {
            if (_clients[i]->is_connected()) continue;
            _clients[i]->stop();
            _clients[i]->start(address(i));
            ++restarted;
        }
    }
    figure("clients connected", connected(), "");
    figure("of them started once more, after 5 s", restarted, "");
    figure("notices of a connection refused by a full pipe", refusals(EMsg::ctrl), "");
    figure("until all were connected", std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(),
           "s");
}

void call_all(const Clients& _clients, unsigned _each, bool _fresh, double _spread) {
    const auto begin = std::chrono::steady_clock::now();
    for (const auto& one : _clients) one->begin(_each, _fresh, _spread);
    eventually(_spread + 30, [&] {
        return std::count_if(_clients.begin(), _clients.end(), [](const auto& _one) { return !_one->go_on(); }) == 0;
    });
    Count answered = 0;
    Count repeated = 0;
    for (const auto& one : _clients) one->end(&answered, &repeated);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    char how[100];
    std::snprintf(how, sizeof how, "%u calls of each client%s, begun within %g s:", _each,
                  _fresh ? " behind a cancel" : "", _spread);
    figure(std::string(how) + " answered", answered, "");
    figure(std::string(how) + " repetitions needed", repeated, "");
    figure(std::string(how) + " seconds", took.count(), "s");
}

int connect(Port _port, std::size_t _count) {
    initialize();
    count_refusals();
    Clients clients(_count);
    for (std::size_t i = 0; i < _count; ++i) clients[i] = std::make_unique<Client>(static_cast<unsigned>(i));
    connect_all(clients, _port);
    std::cout << "connected" << std::endl;
    unsigned each = 0;
    bool fresh = false;
    double spread = 0;
    while (std::cin >> each >> fresh >> spread) {
        call_all(clients, each, fresh, spread);
        std::cout << "called" << std::endl;
    }
    finalize();
    return 0;
}

}  // namespace

int main(int _count, char** _arguments) {
    raise_descriptor_limit();
    const std::string word = _count > 2 ? _arguments[1] : "";
    const auto port = static_cast<Port>(_count > 2 ? std::atoi(_arguments[2]) : 0);
    if (word == "serve") return serve(port);
    if (word == "connect" && _count == 4) return connect(port, static_cast<std::size_t>(std::atoi(_arguments[3])));
    return 2;
}
