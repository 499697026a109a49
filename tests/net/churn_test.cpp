// Life under traffic: objects of all kinds are built, started, stopped and destroyed on several threads while all kinds
// run, and `finalize` comes in the middle. Each round is a life of the runtime.
//
// VORN35_ROUNDS (default 40) and VORN35_SEED (default: any, and printed) choose more of it, or the same again.

#include <malloc.h>

#include <array>
#include <cstdlib>
#include <random>

#include "net/support/objects.h"
#include "net/support/watchdog.h"

using namespace net;

namespace {

using Random = std::mt19937;

unsigned one_of(Random* _random, std::size_t _count) {
    return static_cast<unsigned>((*_random)() % _count);
}
Sync_model any_model(Random* _random) {
    return one_of(_random, 2) == 0 ? on_post : on_timer;
}

const Bytes c_value(100, 7);
const auto c_size = static_cast<Pksize>(c_value.size());
constexpr double c_short = 0.001;
constexpr Msg_code c_unused = 99;
constexpr std::size_t c_listeners = 8;

/// What has happened, over all rounds: a churn without traffic would prove nothing.
std::atomic<std::size_t> callbacks{0};
std::atomic<std::size_t> lives{0};

// --- members of all kinds; their callbacks call back into the runtime --------------------------------------

struct Call_stub : Stub_call {
    using Stub_call::Stub_call;
    Error on_call(Addr, const void* _in, Pksize _in_size, void* _out_, Pksize* _size_, double, double) override {
        ++callbacks;
        *_size_ = std::min(*_size_, _in_size);
        if (*_size_ != 0) std::memcpy(_out_, _in, *_size_);
        return 0;
    }
};
struct Signal_stub : Stub_signal {
    using Stub_signal::Stub_signal;
    void on_signal(Addr, const void*, Pksize, double) override {
        ++callbacks;
        is_started();
    }
};
struct Event_stub : Stub_event {
    using Stub_event::Stub_event;
    Error on_link(Addr, double, double) override { return event(c_value.data(), c_size), 0; }
};
struct Information_stub : Stub_information {
    using Stub_information::Stub_information;
    Error on_link(Addr, bool, double, double) override { return write(c_value.data(), c_size), 0; }
};
struct Command_stub : Stub_command {
    using Stub_command::Stub_command;
    void on_sync(Addr _client, Sync_model, double, double, const void*, const Pksize) override {
        ++callbacks;
        const History history(see_history(_client, 3));
    }
};
struct Call_proxy : Proxy_call {
    using Proxy_call::Proxy_call;
    void on_return(Msg_num _num, Error, const void*, Pksize, double) override {
        ++callbacks;
        if (_num % 16 == 0) cancel(0);
        if (stops_itself && _num % 64 == 0) stop();
    }
    bool stops_itself = false;
};
struct Event_proxy : Proxy_event {
    using Proxy_event::Proxy_event;
    void on_event(const void*, Pksize, double) override {
        ++callbacks;
        is_linked();
    }
};
struct Information_proxy : Proxy_information {
    using Proxy_information::Proxy_information;
    void on_sync(Sync_model, double, double, const void*, Pksize) override {
        ++callbacks;
        const History history(see_history(3));
    }
};

/// A service of all kinds, in one object or in seven.
struct Stubs {
    std::shared_ptr<void> owner;
    Stub* stub;
    Stub_event* event;
    Stub_information* information;
    Stub_command* command;
    Stub_datagram* datagram;
};
struct Composite_stub : Call_stub, Signal_stub, Event_stub, Information_stub, Command_stub, Stub_datagram {
    Composite_stub()
        : Call_stub(1, c_size), Signal_stub(1), Event_stub(1), Information_stub(1), Command_stub(1), Stub_datagram(1) {}
};
struct Attached_stubs {
    Stub base;
    Call_stub call{1, c_size, base};
    Signal_stub signal{1, base, nullptr};
    Event_stub event{1, base};
    Information_stub information{1, base};
    Command_stub command{1, base};
    Stub_datagram datagram{1, base};
};
Stubs make_stubs(bool _composite) {
    if (_composite) {
        const auto one = std::make_shared<Composite_stub>();
        Composite_stub* const all = one.get();
        return {one, all, all, all, all, all};
    }
    const auto one = std::make_shared<Attached_stubs>();
    return {one, &one->base, &one->event, &one->information, &one->command, &one->datagram};
}

/// The same for a client.
struct Proxies {
    std::shared_ptr<void> owner;
    Proxy* proxy;
    Call_proxy* call;
    Proxy_signal* signal;
    Event_proxy* event;
    Information_proxy* information;
    Proxy_command* command;
};
struct Composite_proxy : Call_proxy, Proxy_signal, Event_proxy, Information_proxy, Proxy_command, Proxy_datagram {
    Composite_proxy()
        : Call_proxy(1), Proxy_signal(1), Event_proxy(1), Information_proxy(1), Proxy_command(1), Proxy_datagram(1) {}
    void on_connect() override {
        Msg_num num = 0;
        Event_proxy::delegate_link(&num, 1);
        Information_proxy::delegate_link(&num, false, 1);
        Proxy_command::delegate_link(&num, 1);
    }
};
struct Attached_proxies {
    Proxy base;
    Call_proxy call{1, base};
    Proxy_signal signal{1, base};
    Event_proxy event{1, base};
    Information_proxy information{1, base};
    Proxy_command command{1, base};
    Proxy_datagram datagram{1, base};
};
Proxies make_proxies(bool _composite) {
    if (_composite) {
        const auto one = std::make_shared<Composite_proxy>();
        Composite_proxy* const all = one.get();
        return {one, all, all, all, all, all, all};
    }
    const auto one = std::make_shared<Attached_proxies>();
    return {one, &one->base, &one->call, &one->signal, &one->event, &one->information, &one->command};
}

// --- what threads do with them -----------------------------------------------------------------------------

using Publishing = void (*)(const Stubs&, Random*);
const Publishing c_publishings[] = {
    [](const Stubs& _s, Random*) { _s.event->event(c_value.data(), c_size); },
    [](const Stubs& _s, Random*) { _s.event->event(c_value.data(), c_size); },
    [](const Stubs& _s, Random*) { _s.information->write(c_value.data(), c_size); },
    [](const Stubs& _s, Random*) { _s.information->write(c_value.data(), c_size); },
    [](const Stubs& _s, Random*) { _s.datagram->cast(c_here, c_value.data(), c_size); },
    [](const Stubs& _s, Random*) { _s.datagram->broadcast(nullptr, 0); },
    [](const Stubs& _s, Random* _r) { _s.information->set_sync_model(any_model(_r), 0.001); },
    [](const Stubs& _s, Random* _r) { _s.information->set_history_size(1 + one_of(_r, 5)); },
    [](const Stubs& _s, Random*) { _s.information->get(c_size) == nullptr ? void() : _s.information->cancel(); },
    [](const Stubs& _s, Random* _r) { _s.command->set_history_size(1 + one_of(_r, 5)); },
    [](const Stubs& _s, Random*) { _s.event->unlink_all_proxy(), _s.information->unlink_all_proxy(); },
    [](const Stubs& _s, Random*) { _s.command->unlink_all_proxy(); }};
void publish(const Stubs& _stubs, Random* _random) {
    c_publishings[one_of(_random, std::size(c_publishings))](_stubs, _random);
}

void call_and_wait(Call_proxy* _call) {
    Bytes buffer(c_size);
    Pksize size = c_size;
    _call->await_return(_call->async_call(c_value.data(), c_size, c_short), buffer.data(), &size, nullptr);
}
void look(const Proxies& _p) {
    Bytes buffer(c_size);
    Pksize size = c_size;
    _p.information->read(buffer.data(), &size);
    History history(_p.command->see_history(3));
    const History copy(history);
    history = _p.information->see_history(3);
}
using Use = void (*)(const Proxies&, Random*, Msg_num*);
const Use c_uses[] = {
    [](const Proxies& _p, Random*, Msg_num* _n) { _p.call->delegate_call(_n, c_value.data(), c_size, 1); },
    [](const Proxies& _p, Random*, Msg_num* _n) { _p.call->delegate_call(_n, c_value.data(), c_size, 1); },
    [](const Proxies& _p, Random*, Msg_num*) { call_and_wait(_p.call); },
    [](const Proxies& _p, Random*, Msg_num* _n) { _p.signal->delegate_signal(_n, c_value.data(), c_size, 1); },
    [](const Proxies& _p, Random*, Msg_num* _n) { _p.signal->delegate_signal(_n, c_value.data(), c_size, 1); },
    [](const Proxies& _p, Random*, Msg_num*) { _p.signal->signal(nullptr, 0, c_short, nullptr); },
    [](const Proxies& _p, Random*, Msg_num* _n) { _p.event->delegate_link(_n, 1); },
    [](const Proxies& _p, Random* _r, Msg_num* _n) { _p.information->delegate_link(_n, one_of(_r, 2) == 0, 1); },
    [](const Proxies& _p, Random*, Msg_num*) {
        _p.command->await_link_return(_p.command->async_link(c_short), nullptr);
    },
    [](const Proxies& _p, Random*, Msg_num*) { _p.event->unlink(); },
    [](const Proxies& _p, Random*, Msg_num*) { _p.information->unlink(); },
    [](const Proxies& _p, Random*, Msg_num*) { _p.command->write(c_value.data(), c_size); },
    [](const Proxies& _p, Random*, Msg_num*) { _p.command->write(c_value.data(), c_size); },
    [](const Proxies& _p, Random* _r, Msg_num*) {
        _p.command->set_sync_model(one_of(_r, 2) == 0, any_model(_r), 0.001);
    },
    [](const Proxies& _p, Random*, Msg_num*) { look(_p); },
    [](const Proxies& _p, Random*, Msg_num*) { _p.command->unlink(); }};
void use(const Proxies& _proxies, Random* _random) {
    Msg_num num = 0;
    c_uses[one_of(_random, std::size(c_uses))](_proxies, _random, &num);
}

/// Tells when no callback of an object that was stopped runs any more: once all listeners are in a callback of ours at
/// the same time.
class Muster {
public:
    /// Any thread. Returns, too, when the runtime is over: its listeners are joined then.
    void all_out() {
        const std::lock_guard alone(one_at_a_time);
        std::unique_lock lock(mutex);
        inside = 0;
        mustering = true;
        while (inside < c_listeners && !ending) {
            lock.unlock();
            Msg_num num = 0;
            asks.delegate_call(&num, nullptr, 0, 5);
            lock.lock();
            changed.wait_for(lock, std::chrono::microseconds(500), [&] { return inside == c_listeners || ending; });
        }
        const bool complete = inside == c_listeners;
        mustering = false;
        ++generation;
        changed.notify_all();
        if (!complete) changed.wait(lock, [this] { return over; });
    }
    bool open() {
        Port port = 0;
        if (answers.start(nullptr, &port) != 0) return false;
        msg_processing_by_parallel(Msg_addr(port, 1, 1));
        return asks.start({c_here, port}) == 0 && eventually([this] { return asks.is_connected(); });
    }
    void ends() { set(&ending); }
    void is_over() { set(&over); }

private:
    struct Answers : Stub_call {
        explicit Answers(Muster* _muster) : Stub_call(1, 0), muster(_muster) {}
        Error on_call(Addr, const void*, Pksize, void*, Pksize*, double, double) override {
            muster->enter();
            return 0;
        }
        Muster* const muster;
    };
    void enter() {
        std::unique_lock lock(mutex);
        if (!mustering || ending) return;
        ++inside;
        changed.notify_all();
        changed.wait(lock, [this, mine = generation] { return generation != mine || ending; });
    }
    void set(bool* _what_) {
        const std::lock_guard lock(mutex);
        *_what_ = true;
        changed.notify_all();
    }

    std::mutex one_at_a_time;  ///< Two at once would each hold some of the listeners, for ever.
    std::mutex mutex;          ///< Guards the rest.
    std::condition_variable changed;
    unsigned generation = 0;
    std::size_t inside = 0;
    bool mustering = false;
    bool ending = false;
    bool over = false;
    Answers answers{this};
    Proxy_call asks{1};
};

/// One life of the runtime.
class Round {
public:
    explicit Round(unsigned _seed) : random(_seed) {}

    void run() {
        ASSERT_EQ(initialize(c_listeners, 16, 0), 0);
        ASSERT_TRUE(muster.open());
        for (unsigned i = 0; i < 2; ++i) {
            stubs.push_back(make_stubs(i == 0));
            proxies.push_back(make_proxies(one_of(&random, 2) == 0));
            proxies[i].call->stops_itself = one_of(&random, 8) == 0;
            restart(i, &random);
        }
        const auto spawn = [this](auto _step) {
            threads.emplace_back([this, _step, own = Random(random())]() mutable {
                while (!done) _step(&own);
            });
        };
        for (unsigned i = 0; i < 2; ++i) {
            spawn([this, i](Random* _random) {
                publish(stubs[i], _random);
                use(proxies[i], _random);
                if (one_of(_random, 16) == 0) std::this_thread::yield();
            });
            spawn([this](Random* _random) { live_and_die(_random); });
        }
        spawn([this](Random* _random) { break_off(_random); });
        spawn([this](Random* _random) {
            restart(one_of(_random, 2), _random);
            if (one_of(_random, 4) == 0) extra_member(_random);
            std::this_thread::sleep_for(std::chrono::microseconds(one_of(_random, 3000)));
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + one_of(&random, 50)));
        muster.ends();
        EXPECT_EQ(finalize(), 0);
        muster.is_over();
        done = true;
        for (std::thread& one : threads) one.join();
        if (one_of(&random, 2) == 0) std::swap(proxies[0], proxies[1]);
        while (!stubs.empty()) {
            stubs.pop_back();
            proxies.pop_back();
        }
    }

private:
    void restart(unsigned _which, Random* _random) {
        const Stubs& service = stubs[_which];
        const Proxies& client = proxies[_which];
        if (one_of(_random, 2) == 0) client.proxy->stop();
        if (one_of(_random, 3) == 0) service.stub->stop();
        Port port = 0;
        if (service.stub->start(nullptr, &port) == 0) ports[_which] = port;
        client.proxy->start({c_here, ports[_which]});
    }
    /// A peer of no runtime: its opening and some calls, and then it is gone at any place of them.
    void break_off(Random* _random) {
        const Port port = ports[one_of(_random, 2)];
        const sockaddr_in to = socket_address(port);
        Raw_connection raw(stream());
        if (::connect(raw.fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) return;
        Bytes bytes = opening(raw.port(), port);
        for (std::uint16_t num = 1; num < 5; ++num)
            bytes = bytes + Wire_message{0x30, 1, num, Bytes(2000), raw.port()}.bytes();
        bytes.resize(one_of(_random, bytes.size()));
        raw.send(bytes);
        if (one_of(_random, 2) == 0) raw.readable(1);
        if (one_of(_random, 2) == 0) raw.reset();
    }
    /// Comes to a service that is at work, and takes it down by its end.
    void extra_member(Random* _random) {
        const Stub& stub = *stubs[one_of(_random, 2)].stub;
        if (one_of(_random, 2) == 0) {
            const Stub_event event(c_unused, stub);
        } else {
            const Stub_information information(c_unused, stub);
        }
        const Proxy& proxy = *proxies[one_of(_random, 2)].proxy;
        const Proxy_command command(c_unused, proxy);
    }
    /// Objects of our own, from their making to their end.
    void live_and_die(Random* _random) {
        Stubs service = make_stubs(one_of(_random, 2) == 0);
        Proxies client = make_proxies(one_of(_random, 2) == 0);
        const std::string name = "churn" + std::to_string(++names);
        Port port = 0;
        if (service.stub->start(one_of(_random, 4) == 0 ? name.c_str() : nullptr, &port) == 0) {
            client.proxy->start({c_here, port});
            for (int i = 0; i < 20 && !client.proxy->is_connected() && !done; ++i)
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            if (client.proxy->is_connected()) ++lives;
            for (unsigned i = one_of(_random, 30); i != 0; --i) {
                publish(service, _random);
                use(client, _random);
            }
        }
        if (one_of(_random, 2) == 0) service.stub->stop();
        client.proxy->stop();
        service.stub->stop();
        muster.all_out();
        if (one_of(_random, 2) == 0) client = {};
    }

    Random random;
    Muster muster;
    std::vector<Stubs> stubs;
    std::vector<Proxies> proxies;
    std::array<std::atomic<Port>, 2> ports{};
    std::atomic<unsigned> names{0};
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
};

unsigned setting(const char* _name, unsigned _otherwise) {
    const char* const text = std::getenv(_name);
    return text == nullptr ? _otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

/// Lost by the rules, in any number: a notice of a loss that the full pipe refused, and what says only a word to a service
/// on a connection that is closing.
bool is_lost(const Packet& _pkt, std::size_t _size) {
    if (_size != sizeof(Packet)) return false;
    if (_pkt.get_msg_type() == EMsg::ctrl) return _pkt.header.code == c_tcp_disconnected_from_server;
    return _pkt.get_data_size() == 0 && _pkt.get_client_gate_port() != 0;
}

/// Blocks that a life left, given back: all but lost ones, as type/code/size.
std::vector<std::string> sweep() {
    std::vector<std::string> left;
    for (const mm_t mm : keys_of(lasting_memory())) {
        const auto* const pkt = static_cast<const Packet*>(get_ptr(mm));
        const int type = static_cast<int>(pkt->get_msg_type());
        const std::size_t size = get_ptr_size(mm);
        if (!is_lost(*pkt, size))
            left.push_back(std::to_string(type) + "/" + std::to_string(pkt->header.code) + "/" + std::to_string(size));
        while (lasting_memory().get_ref(mm) > 1) lasting_memory().proc_free(mm);
        lasting_memory().proc_free(mm);
    }
    return left;
}

TEST(LifeUnderTraffic, Rounds) {
    const unsigned rounds = setting("VORN35_ROUNDS", 40);
    const unsigned seed = setting("VORN35_SEED", std::random_device{}());
    std::printf("VORN35_SEED=%u VORN35_ROUNDS=%u\n", seed, rounds);
    settle_threads();
    Watchdog watchdog(std::chrono::seconds(45));
    const std::size_t threads_before = threads();
    const std::size_t descriptors_before = descriptors();
    std::size_t heap_before = 0;
    for (unsigned number = 0; number < rounds && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE("round " + std::to_string(number));
        Round(seed + number).run();
        EXPECT_EQ(descriptors(), descriptors_before);
        EXPECT_TRUE(eventually([=] { return threads() == threads_before; }));
        EXPECT_EQ(records(), 0U);
        const std::vector<std::string> left = sweep();
        // What the full pipe holds, and a second answer to one request (its own and that of the loss), which is kept by
        // nobody: that happens once in tens of thousands of rounds.
        EXPECT_LE(left.size(), 2 * (17U + 1)) << "more than the pipe can hold: " << testing::PrintToString(left);
        if (number == 9) heap_before = mallinfo2().uordblks;
        watchdog.beat();
    }
    const std::size_t heap_after = mallinfo2().uordblks;
    std::printf("figure: rounds = %u lives of the runtime\n", rounds);
    std::printf("figure: pairs that died under traffic = %zu pairs of a service and a client of all kinds\n",
                lives.load());
    std::printf("figure: callbacks = %zu \n", callbacks.load());
    std::printf("figure: heap in use after 10 rounds = %zu bytes\n", heap_before);
    std::printf("figure: heap in use at the end = %zu bytes\n", heap_after);
    if (heap_before != 0) {
        EXPECT_LT(heap_after, heap_before + 65'536);
    }
    EXPECT_GT(lives, rounds);
    EXPECT_GT(callbacks, rounds);
}

}  // namespace
