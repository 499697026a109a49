// lost [waits]: what docs/lost.md tells (or only of waits), measured: how much is lost, and that the patterns lose
// nothing. Both ends are in this process. 0 if the patterns held.
#include <memory>

#include "../../examples/sure_call.h"
#include "programs/support.h"

namespace {

using namespace support;

struct Service : Echo, Stub_event, Stub_information {
    Service() : Echo(1, 64), Stub_event(1), Stub_information(1) {}
    void called(const void*, Pksize) override {
        if (slow) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++calls;
    }
    void on_unlink(Addr, Error) override { ++unlinked; }

    std::atomic<bool> slow{false};
    std::atomic<unsigned> calls{0};
    std::atomic<unsigned> unlinked{0};
};

struct Client : Proxy_call, Proxy_event, Proxy_information {
    Client() : Proxy_call(1), Proxy_event(1), Proxy_information(1) {}
    void on_return(Msg_num, Error, const void*, Pksize, double) override { ++returned; }
    void on_sync(Sync_model, double, double, const void*, Pksize) override { ++values; }

    std::atomic<unsigned> returned{0};
    std::atomic<unsigned> values{0};
};

/// Until a count does not change for a while, in which each client has tried to connect.
template <class Look>
auto settled(Look _look) {
    for (auto last = _look();;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
        if (const auto now = std::exchange(last, _look()); now == last) return now;
    }
}

/// Objects live on past `finalize`: nothing else tells when their last callback is over.
std::vector<std::shared_ptr<void>> kept;

template <class T, class... Arguments>
T& make(Arguments... _arguments) {
    const auto object = std::make_shared<T>(_arguments...);
    kept.push_back(object);
    return *object;
}
std::vector<Client*> make_clients(std::size_t _count) {
    std::vector<Client*> clients(_count);
    for (Client*& one : clients) one = &make<Client>();
    return clients;
}
template <class T, class... Arguments>
T& connected(Addr _service, Arguments... _arguments) {
    T& client = make<T>(_arguments...);
    client.start(_service);
    if (!eventually(20, [&] { return client.is_connected(); })) std::printf("not connected\n");
    return client;
}

bool waits(Addr _service, unsigned _calls) {
    auto& plain = connected<Client>(_service);
    unsigned late = 0;
    unsigned failed = 0;
    for (unsigned i = 0; i < _calls; ++i) {
        unsigned answer = i + 1;
        Pksize size = sizeof answer;
        const Error err = plain.await_return(plain.async_call(&i, sizeof i, 0.02), &answer, &size, nullptr);
        if (err == VORN_ERR_LOCAL_TIMEOUT_) ++late;
        if (err == 0 ? size != sizeof answer || answer != i : err != VORN_ERR_LOCAL_TIMEOUT_) ++failed;
    }
    plain.stop();
    auto& sure = connected<Sure_call>(_service, Msg_code{1});
    std::vector<char> answer;
    unsigned lost_by_pattern = 0;
    for (unsigned i = 0; i < _calls; ++i) {
        if (sure.call(&i, sizeof i, &answer, 20) != 0) ++lost_by_pattern;
    }
    sure.stop();
    figure("waits: without an answer within 0.02 s, of " + std::to_string(_calls), late);
    figure("waits: with another end", failed);
    figure("waits: without an answer within 20 s by the pattern", lost_by_pattern);
    return late < _calls / 10 && failed == 0 && lost_by_pattern == 0;
}

bool bursts(Addr _service) {
    auto& client = connected<Client>(_service);
    Msg_num num = 0;
    for (int i = 0; i < 1000; ++i) client.delegate_call(&num, nullptr, 0, 60);
    const unsigned returned = settled([&] { return client.returned.load(); });
    figure("burst: calls refused by the pipe of the service, of 1000", refusals(EMsg::delegate_call));
    figure("burst: answers refused by the pipe of the client, of the rest", refusals(EMsg::delegate_call_return));
    client.stop();
    return returned + refusals(EMsg::delegate_call) + refusals(EMsg::delegate_call_return) == 1000;
}

void values(Service* _service, Addr _address) {
    auto& client = connected<Client>(_address);
    Msg_num num = 0;
    client.Proxy_information::delegate_link(&num, false, 20);
    eventually(20, [&] { return client.Proxy_information::is_linked(); });
    for (int i = 0; i < 300; ++i) _service->write(&i, sizeof i);
    figure("values: by multicast, taken of a burst of 300", settled([&] { return client.values.load(); }));
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
    figure("queue: blocks that wait behind a handler of 1 ms after 2000 calls at 0.1 ms", size_now().blocks - before);
    _service->slow = false;
    settled([&] { return client.returned.load(); });
    client.stop();
}

/// Clients of one host whose calls carry the same number, one directly after the other.
void numbers(Service* _service, Addr _address, bool _fresh) {
    const auto clients = make_clients(50);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        clients[i]->start(loopback(i, _address.port));
        eventually(20, [&] { return clients[i]->is_connected(); });
    }
    const unsigned before = settled([&] { return _service->calls.load(); });
    for (Client* const one : clients) {
        Msg_num num = 0;
        if (_fresh) one->Proxy_call::cancel(0);
        one->delegate_call(&num, nullptr, 0, 60);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const std::string name = "equal numbers: taken of the first calls of 50 clients of one host";
    figure(name + (_fresh ? ", behind a cancel" : ""), settled([&] { return _service->calls.load(); }) - before);
    for (Client* const one : clients) one->stop();
}

void notices(Service* _service, Addr _address) {
    const Count before = refusals(EMsg::ctrl);
    const auto clients = make_clients(200);
    for (std::size_t i = 0; i < clients.size(); ++i) clients[i]->start(loopback(i, _address.port));
    figure("notices: clients of 200 started at once that are told of their connection",
           settled([&] { return count_connected(clients); }));
    figure("notices: new starts until all are", start_all(clients, _address.port, 2));
    for (Client* const one : clients) {
        Msg_num num = 0;
        one->Proxy_call::cancel(0);  // or the request would be taken for the last one's
        one->Proxy_event::delegate_link(&num, 20);
        eventually(0.5, [one] { return one->Proxy_event::is_linked(); });
    }
    const auto is_linked = [](Client* _one) { return _one->Proxy_event::is_linked(); };
    figure("notices: links", std::count_if(clients.begin(), clients.end(), is_linked));
    _service->unlinked = 0;
    for (Client* const one : clients) one->stop();
    figure("notices: links that the service was told the end of, all connections closed at once",
           settled([&] { return _service->unlinked.load(); }));
    figure("notices: refused by the pipe", refusals(EMsg::ctrl) - before);
}

}  // namespace

int main(int _count, char**) {
    initialize();
    count_refusals();
    auto& service = make<Service>();
    Port port = 0;
    if (service.start(nullptr, &port) != 0) return 1;
    const Addr here(inet_addr("198.51.100.1"), port);
    const bool all = _count == 1;
    bool good = waits(here, all ? 20000 : 5000);
    if (all) {
        good &= bursts(here);
        values(&service, here);
        queue(&service, here);
        numbers(&service, here, false);
        numbers(&service, here, true);
        notices(&service, here);
    }
    finalize();
    return good ? 0 : 1;
}
