// many_clients COUNT IDLE: so many clients in this process, connected to one service in another: what a connection
// costs in memory and, while it is idle for so many seconds, in processor time; and whether all of them are answered
// afterwards. 0 if calls that are spread over a while are.
#include <sys/socket.h>
#include <sys/wait.h>

#include <memory>
#include <mutex>
#include <random>

#include "programs/support.h"

namespace {

using namespace support;

/// What the service tells of itself.
struct Look {
    Size size;
    double seconds;
    int clients;
    Count refused;
};

struct Service : Echo {
    Service() : Echo(1, 4) {}
    void on_connect(Addr) override { ++clients; }
    void on_disconnect(Addr) override { --clients; }
    void called(const void*, Pksize) override {}
    std::atomic<int> clients{0};
};

/// Tells its port, then of itself for each byte that comes, until the end.
int serve(int _line) {
    initialize();
    count_refusals();
    Service service;
    Port port = 0;
    if (service.start(nullptr, &port) != 0 || ::write(_line, &port, sizeof port) == -1) return 1;
    for (char key = 0; ::read(_line, &key, 1) == 1;) {
        const Look look{size_now(), processor_seconds(), service.clients, refusals(EMsg::delegate_call)};
        if (::write(_line, &look, sizeof look) == -1) return 1;
    }
    return finalize();
}

/// Each of its calls follows the answer to the one before it; one that is not answered is repeated after a while.
class Client : public Proxy_call {
public:
    explicit Client(unsigned _seed) : Proxy_call(1), random(_seed) {}

    /// So many calls, the first within so many seconds.
    /// @param _fresh each goes out behind a cancel, whose number, 0, is nobody's repeat.
    void begin(unsigned _calls, bool _fresh, double _spread) {
        const std::lock_guard lock(mutex);
        left = _calls;
        repeated = 0;
        fresh = _fresh;
        asked = false;
        ask_within(0, _spread);
    }
    /// To be called again and again. @return whether all calls are answered.
    bool go_on() {
        const std::lock_guard lock(mutex);
        if (left != 0 && Clock_t::now() >= ask_at) ask();
        return left == 0;
    }
    void end(Count* _left_, Count* _repeated_) {
        const std::lock_guard lock(mutex);
        *_left_ += std::exchange(left, 0);
        *_repeated_ += repeated;
    }

private:
    void on_return(Msg_num _num, Error _err, const void*, Pksize, double) override {
        const std::lock_guard lock(mutex);
        if (_err != 0 || left == 0 || _num != num) return;  // an answer to one that was given up
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
        ask_at = Clock_t::now() + time_of(std::uniform_real_distribution<>(_from, _to)(random));
    }

    std::mutex mutex;  ///< Guards the rest. The runtime's locks come after it.
    std::minstd_rand random;
    unsigned left = 0;
    unsigned repeated = 0;
    bool fresh = false;
    bool asked = false;  ///< One call is outstanding, or was lost.
    Msg_num num = 0;
    Clock_t::time_point ask_at;
};

using Clients = std::vector<std::unique_ptr<Client>>;

/// @return whether all calls are answered within half a minute after the last has begun.
bool call_all(const Clients& _clients, unsigned _each, bool _fresh, double _spread) {
    const auto begin = Clock_t::now();
    for (const auto& one : _clients) one->begin(_each, _fresh, _spread);
    eventually(_spread + 30, [&] {
        return std::count_if(_clients.begin(), _clients.end(), [](const auto& _one) { return !_one->go_on(); }) == 0;
    });
    Count left = 0;
    Count repeated = 0;
    for (const auto& one : _clients) one->end(&left, &repeated);
    char how[100];
    std::snprintf(how, sizeof how, "%u calls of each client%s, begun within %g s: ", _each,
                  _fresh ? " behind a cancel" : "", _spread);
    figure(std::string(how) + "answered", _clients.size() * _each - left);
    figure(std::string(how) + "repetitions needed", repeated);
    figure(std::string(how) + "seconds", seconds_since(begin), "s");
    return left == 0;
}

bool measure(int _line, std::size_t _count, double _idle) {
    initialize();
    count_refusals();
    Port port = 0;
    if (::read(_line, &port, sizeof port) != sizeof port) return false;
    const auto look = [_line] {
        Look now{};
        if (::write(_line, "", 1) != 1 || ::read(_line, &now, sizeof now) != sizeof now) std::exit(1);
        return now;
    };
    const Look empty = look();
    Clients clients(_count);
    for (std::size_t i = 0; i < _count; ++i) clients[i] = std::make_unique<Client>(static_cast<unsigned>(i));
    const auto begin = Clock_t::now();
    figure("clients started once more, after 5 s", start_all(clients, port, 5) - _count);
    figure("notices of a connection refused by a full pipe", refusals(EMsg::ctrl));
    figure("until all were connected", seconds_since(begin), "s");

    const Look full = look();
    const auto each = static_cast<double>(_count);
    figure("service's memory per connection", static_cast<double>(full.size.resident - empty.size.resident) / each,
           "B");
    figure("service's descriptors", full.size.descriptors);
    figure("connections that the service was told of", full.clients);
    std::this_thread::sleep_for(time_of(_idle));
    figure("processor time per idle connection and second", (look().seconds - full.seconds) / each / _idle * 1e6, "us");

    // All at once, most are refused and asked again, for as long as it takes. Spread, each must be answered soon.
    call_all(clients, 1, false, 0);
    call_all(clients, 1, true, 0);
    const bool good = call_all(clients, 10, false, 20);
    figure("calls refused by a full pipe", look().refused);
    figure("service's memory at the end", look().size.resident / 1024, "KiB");
    finalize();
    return good;
}

}  // namespace

int main(int _count, char** _arguments) {
    int line[2];
    if (_count != 3 || ::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, line) != 0) return 2;
    const pid_t service = ::fork();
    ::close(line[service == 0 ? 0 : 1]);
    if (service == 0) return serve(line[1]);
    bool good = measure(line[0], static_cast<std::size_t>(std::atoi(_arguments[1])), std::atof(_arguments[2]));
    ::close(line[0]);
    int status = 0;
    good &= ::waitpid(service, &status, 0) == service && status == 0;
    return good ? 0 : 1;
}
