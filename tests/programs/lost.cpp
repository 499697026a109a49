// lost: what docs/lost.md tells, measured: how much is lost, and that the patterns lose nothing. Both ends are in this
// process. 0 if the patterns held.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "../../examples/sure_call.h"
#include "programs/load.h"

namespace {

using namespace load;

struct Service : Stub_call, Stub_event, Stub_information {
    Service() : Stub_call(1, 64), Stub_event(1), Stub_information(1) {}
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++called;
        *_size_ = std::min(_in_size, *_size_);
        if (*_size_ != 0) std::memcpy(_out_, _in, *_size_);
        return 0;
    }
    void on_unlink(Addr, Error) override { ++unlinked; }

    std::atomic<bool> slow{false};
    std::atomic<unsigned> called{0};
    std::atomic<unsigned> unlinked{0};
};

struct Client : Proxy_call, Proxy_event, Proxy_information {
    Client() : Proxy_call(1), Proxy_event(1), Proxy_information(1) {}
    void on_return(Msg_num, Error, const void*, Pksize, double) override { ++returned; }
    void on_sync(Sync_model, double, double, const void*, Pksize) override { ++values; }

    std::atomic<unsigned> returned{0};
    std::atomic<unsigned> values{0};
};

/// Until nothing changes for a while.
template <class Look>
auto settled(Look _look) {
    auto last = _look();
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        const auto now = _look();
        if (now == last) return now;
        last = now;
    }
}

/// One process has one `Proxy` for an address; the loopback has addresses enough.
Addr address(std::size_t _i, Port _port) {
    return {127 | static_cast<IP>(_i / 250) << 16 | static_cast<IP>(_i % 250 + 1) << 24, _port};
}

/// Objects live on past `finalize`: nothing else tells when their last callback is over.
std::vector<std::shared_ptr<void>> kept;

template <class T, class... Arguments>
T& make(Arguments... _arguments) {
    const auto object = std::make_shared<T>(_arguments...);
    kept.push_back(object);
    return *object;
}

template <class T, class... Arguments>
T& connected(Addr _service, Arguments... _arguments) {
    T& client = make<T>(_arguments...);
    client.start(_service);
    if (!eventually(20, [&] { return client.is_connected(); })) std::printf("not connected\n");
    return client;
}

constexpr unsigned c_calls = 20000;

bool waits(Addr _service) {
    auto& plain = connected<Client>(_service);
    unsigned lost = 0;
    for (unsigned i = 0; i < c_calls; ++i) {
        const Promise_ asked = plain.async_call(nullptr, 0, 0.02);
        if (plain.await_return(asked, nullptr, nullptr, nullptr) != 0) ++lost;
    }
    plain.stop();
    auto& sure = connected<Sure_call>(_service, Msg_code{1});
    std::vector<char> answer;
    unsigned lost_by_pattern = 0;
    for (unsigned i = 0; i < c_calls; ++i) {
        if (sure.call(&i, sizeof i, &answer, 20) != 0) ++lost_by_pattern;
    }
    sure.stop();
    figure("waits: without an answer within 0.02 s, of 20000", lost, "");
    figure("waits: the same by the pattern within 20 s, of 20000", lost_by_pattern, "");
    return lost_by_pattern == 0;
}

bool bursts(Addr _service) {
    auto& client = connected<Client>(_service);
    Msg_num num = 0;
    for (int i = 0; i < 1000; ++i) client.delegate_call(&num, nullptr, 0, 60);
    const unsigned returned = settled([&] { return client.returned.load(); });
    figure("burst: calls refused by the pipe of the service, of 1000", refusals(EMsg::delegate_call), "");
    figure("burst: answers refused by the pipe of the client, of the rest", refusals(EMsg::delegate_call_return), "");
    client.stop();
    return returned + refusals(EMsg::delegate_call) + refusals(EMsg::delegate_call_return) == 1000;
}

void values(Service* _service, Addr _address) {
    auto& client = connected<Client>(_address);
    Msg_num num = 0;
    client.Proxy_information::delegate_link(&num, false, 20);
    eventually(20, [&] { return client.Proxy_information::is_linked(); });
    for (int i = 0; i < 300; ++i) _service->write(&i, sizeof i);
    figure("values: by multicast, taken of a burst of 300", settled([&] { return client.values.load(); }), "");
    client.stop();
}

/// The call handler is slow, and serial: what it does not get to waits in a queue that has no bound.
void queue(Service* _service, Addr _address) {
    auto& client = connected<Client>(_address);
    _service->slow = true;
    const Count before = size_now().blocks;
    Msg_num num = 0;
    for (int i = 0; i < 2000; ++i) {
        client.delegate_call(&num, nullptr, 0, 60);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    figure("queue: blocks that wait behind a handler of 1 ms after 2000 calls at 0.1 ms", size_now().blocks - before,
           "");
    _service->slow = false;
    settled([&] { return client.returned.load(); });
    client.stop();
}

/// Clients of one host whose calls carry the same number, one directly after the other.
void numbers(Service* _service, Addr _address, bool _fresh) {
    std::vector<Client*> clients;
    for (std::size_t i = 0; i < 50; ++i) clients.push_back(&connected<Client>(address(i, _address.port)));
    settled([&] { return _service->called.load(); });
    const unsigned before = _service->called;
    for (Client* const one : clients) {
        Msg_num num = 0;
        if (_fresh) one->Proxy_call::cancel(0);
        one->delegate_call(&num, nullptr, 0, 60);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const unsigned called = settled([&] { return _service->called.load(); }) - before;
    figure(_fresh ? "equal numbers: taken of the first calls of 50 clients of one host, behind a cancel"
                  : "equal numbers: taken of the first calls of 50 clients of one host",
           called, "");
    for (Client* const one : clients) one->stop();
}

bool notices(Service* _service, Addr _address) {
    constexpr std::size_t c_clients = 200;
    const Count before = refusals(EMsg::ctrl);
    std::vector<Client*> clients;
    for (std::size_t i = 0; i < c_clients; ++i) {
        clients.push_back(&make<Client>());
        clients.back()->start(address(i, _address.port));
    }
    const auto up = [&] {
        return std::count_if(clients.begin(), clients.end(), [](Client* _one) { return _one->is_connected(); });
    };
    figure("notices: clients of 200 started at once that are told of their connection", settled(up), "");
    // The pattern: whoever is not connected after a while is started once more.
    for (int attempt = 0; attempt < 20 && up() != c_clients; ++attempt) {
        for (std::size_t i = 0; i < c_clients; ++i) {
            if (clients[i]->is_connected()) continue;
            clients[i]->stop();
            clients[i]->start(address(i, _address.port));
        }
        eventually(2, [&] { return up() == c_clients; });
    }
    const bool all = up() == c_clients;
    figure("notices: the same by the pattern", up(), "");
    for (Client* const one : clients) {
        Msg_num num = 0;
        one->Proxy_call::cancel(0);  // or the request would be taken for the last one's
        one->Proxy_event::delegate_link(&num, 20);
        eventually(0.5, [one] { return one->Proxy_event::is_linked(); });
    }
    const auto linked =
        std::count_if(clients.begin(), clients.end(), [](Client* _one) { return _one->Proxy_event::is_linked(); });
    _service->unlinked = 0;
    for (Client* const one : clients) one->stop();
    figure("notices: links", linked, "");
    figure("notices: links that the service was told the end of, all connections closed at once",
           settled([&] { return _service->unlinked.load(); }), "");
    figure("notices: refused by the pipe", refusals(EMsg::ctrl) - before, "");
    return all;
}

}  // namespace

int main() {
    initialize();
    count_refusals();
    auto& service = make<Service>();
    Port port = 0;
    if (service.start(nullptr, &port) != 0) return 1;
    const Addr here(inet_addr("198.51.100.1"), port);
    const bool good = waits(here);
    const bool counted = bursts(here);
    values(&service, here);
    queue(&service, here);
    numbers(&service, here, false);
    numbers(&service, here, true);
    const bool all_told = notices(&service, here);
    finalize();
    return good && counted && all_told ? 0 : 1;
}
