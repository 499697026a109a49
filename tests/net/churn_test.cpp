// Life under traffic: objects of all kinds are built, started, stopped and destroyed on several threads while all kinds
// run, and `finalize` comes in the middle. Each round is a life of the runtime.
//
// VORN35_ROUNDS (default 30) and VORN35_SEED (default: any, and printed) choose more of it, or the same again.

#include <malloc.h>

#include <array>
#include <cstdlib>
#include <random>

#include "net/support/objects.h"

using namespace net;

namespace {

struct Random : std::mt19937 {
    explicit Random(std::size_t _seed) : std::mt19937(_seed) {}
    unsigned below(std::size_t _count) { return static_cast<unsigned>((*this)() % _count); }
    bool one_in(unsigned _count) { return below(_count) == 0; }
    Sync_model model() { return one_in(2) ? on_post : on_timer; }
};

const Bytes c_bytes(100, 7);
const void* const c_value = c_bytes.data();
constexpr Pksize c_size = 100;
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
struct Event_stub : Stub_event {
    using Stub_event::Stub_event;
    Error on_link(Addr, double, double) override { return event(c_value, c_size), 0; }
};
struct Command_stub : Stub_command {
    using Stub_command::Stub_command;
    void on_sync(Addr _client, Sync_model, double, double, const void*, const Pksize) override {
        const History history(see_history(_client, 3));
    }
};
struct Call_proxy : Proxy_call {
    using Proxy_call::Proxy_call;
    void on_return(Msg_num _num, Error, const void*, Pksize, double) override {
        if (_num % 16 == 0) cancel(0);
        if (stops_itself && _num % 64 == 0) stop();
    }
    bool stops_itself = false;
};
struct Stubs {
    Stub stub;
    Call_stub call{1, c_size, stub};
    Stub_signal signal{1, stub, nullptr};
    Event_stub event{1, stub};
    Stub_information information{1, stub};
    Command_stub command{1, stub};
    Stub_datagram datagram{1, stub};
};
struct Proxies {
    Proxy proxy;
    Call_proxy call{1, proxy};
    Proxy_signal signal{1, proxy};
    Proxy_event event{1, proxy};
    Proxy_information information{1, proxy};
    Proxy_command command{1, proxy};
    Proxy_datagram datagram{1, proxy};
};

// --- what threads do with them -----------------------------------------------------------------------------

using Steps = std::initializer_list<std::function<void()>>;

void publish(Stubs& _s, Random& _r) {
    const Steps all = {[&] { _s.event.event(c_value, c_size); },
                       [&] { _s.information.write(c_value, c_size); },
                       [&] { _s.datagram.cast(c_here, c_value, c_size), _s.datagram.broadcast(nullptr, 0); },
                       [&] { _s.information.set_sync_model(_r.model(), 0.001); },
                       [&] { _s.information.set_history_size(1 + _r.below(5)); },
                       [&] { _s.information.get(c_size) == nullptr ? void() : _s.information.cancel(); },
                       [&] { _s.command.set_history_size(1 + _r.below(5)); },
                       [&] { _s.event.unlink_all_proxy(), _s.information.unlink_all_proxy(); },
                       [&] { _s.command.unlink_all_proxy(); }};
    all.begin()[_r.below(all.size())]();
}
void use(Proxies& _p, Random& _r) {
    Msg_num num = 0;
    Bytes buffer(c_size);
    Pksize size = c_size;
    const Steps all = {
        [&] { _p.call.delegate_call(&num, c_value, c_size, 1); },
        [&] { _p.call.await_return(_p.call.async_call(c_value, c_size, c_short), &buffer[0], &size, nullptr); },
        [&] { _p.signal.delegate_signal(&num, c_value, c_size, 1); },
        [&] { _p.signal.signal(nullptr, 0, c_short, nullptr); },
        [&] { _p.event.delegate_link(&num, 1); },
        [&] { _p.information.delegate_link(&num, _r.one_in(2), 1); },
        [&] { _p.command.await_link_return(_p.command.async_link(c_short), nullptr); },
        [&] { _p.event.unlink(), _p.information.unlink(); },
        [&] { _p.command.write(c_value, c_size); },
        [&] { _p.command.set_sync_model(_r.one_in(2), _r.model(), 0.001); },
        [&] { const History history(_p.command.see_history(3)); },
        [&] { _p.information.read(&buffer[0], &size), _p.command.unlink(); }};
    all.begin()[_r.below(all.size())]();
}

/// One life of the runtime.
class Round {
public:
    explicit Round(unsigned _seed) : random(_seed) {}

    void run() {
        ASSERT_EQ(initialize(c_listeners, 16, 0), 0);
        std::vector<std::thread> users;
        std::vector<std::thread> destroyers;
        const auto spawn = [this](std::vector<std::thread>* _threads_, const std::atomic<bool>& _until, auto _step) {
            _threads_->emplace_back([&_until, _step, own = Random(random())]() mutable {
                while (!_until) _step(own);
            });
        };
        for (unsigned i = 0; i < 2; ++i) {
            proxies[i]->call.stops_itself = random.one_in(8);
            restart(i, random);
            spawn(&users, done, [this, i](Random& _random) {
                publish(*stubs[i], _random);
                use(*proxies[i], _random);
                if (_random.one_in(16)) std::this_thread::yield();
            });
            spawn(&destroyers, ending, [this](Random& _random) { live_and_die(_random); });
        }
        spawn(&users, done, [this](Random& _random) { break_off(_random); });
        spawn(&users, done, [this](Random& _random) {
            restart(_random.below(2), _random);
            if (_random.one_in(4)) extra_member(_random);
            std::this_thread::sleep_for(std::chrono::microseconds(_random.below(3000)));
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5 + random.below(50)));
        ending = true;
        for (std::thread& one : destroyers) one.join();
        EXPECT_EQ(finalize(), 0);
        done = true;
        for (std::thread& one : users) one.join();
    }

private:
    void restart(unsigned _which, Random& _random) {
        if (_random.one_in(2)) proxies[_which]->proxy.stop();
        if (_random.one_in(3)) stubs[_which]->stub.stop();
        Port port = 0;
        if (stubs[_which]->stub.start(nullptr, &port) == 0) ports[_which] = port;
        proxies[_which]->proxy.start({c_here, ports[_which]});
    }
    /// A raw peer: its opening and some calls, and then it is gone at any place of them.
    void break_off(Random& _random) {
        const Port port = ports[_random.below(2)];
        const sockaddr_in to = socket_address(port);
        Raw_connection raw(stream());
        if (::connect(raw.fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) return;
        Bytes bytes = opening(raw.port(), port);
        for (std::uint16_t num = 1; num < 5; ++num)
            bytes = bytes + Wire_message{0x30, 1, num, Bytes(2000), raw.port()}.bytes();
        bytes.resize(_random.below(bytes.size()));
        raw.send(bytes);
        if (_random.one_in(2)) raw.readable(1);
        if (_random.one_in(2)) raw.reset();
    }
    /// Changes the order of messages. Joins a service at work, and stops it by its end.
    void extra_member(Random& _random) {
        const Msg_addr key(ports[_random.below(2)], 1, 1);
        if (_random.one_in(2)) msg_processing_by_parallel(key);
        if (_random.one_in(2)) msg_processing_by_serial_alone(key);
        if (_random.one_in(2)) msg_processing_by_serial_group(key, Msg_addr(ports[_random.below(2)], 1, 2));
        const Stub_event event(c_unused, stubs[_random.below(2)]->stub);
        const Stub_information information(c_unused, stubs[_random.below(2)]->stub);
        const Proxy_command command(c_unused, proxies[_random.below(2)]->proxy);
    }
    void live_and_die(Random& _random) {
        auto service = std::make_unique<Stubs>();
        auto client = std::make_unique<Proxies>();
        const std::string name = "churn" + std::to_string(++names);
        Port port = 0;
        if (service->stub.start(_random.one_in(4) ? name.c_str() : nullptr, &port) == 0) {
            client->proxy.start({c_here, port});
            for (int i = 0; i < 20 && !client->proxy.is_connected(); ++i)
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            if (client->proxy.is_connected()) ++lives;
            for (unsigned i = _random.below(30); i != 0; --i) {
                publish(*service, _random);
                use(*client, _random);
            }
        }
        if (_random.one_in(2)) service->stub.stop();
        client->proxy.stop_and_wait(20);
        service->stub.stop_and_wait(20);
        if (_random.one_in(2)) client.reset();
    }

    Random random;
    std::array<std::unique_ptr<Stubs>, 2> stubs{std::make_unique<Stubs>(), std::make_unique<Stubs>()};
    std::array<std::unique_ptr<Proxies>, 2> proxies{std::make_unique<Proxies>(), std::make_unique<Proxies>()};
    std::array<std::atomic<Port>, 2> ports{};
    std::atomic<unsigned> names{0};
    std::atomic<bool> ending{false};
    std::atomic<bool> done{false};
};

/// Lost by the rules, in any number: a notice of a loss that the full pipe refused, and an empty message to a service on
/// a connection that is closing.
bool is_lost(const Packet& _pkt, std::size_t _payload) {
    if (_payload != 0) return false;
    if (_pkt.get_msg_type() == EMsg::ctrl) return _pkt.header.code == c_tcp_disconnected_from_server;
    return _pkt.get_data_size() == 0 && _pkt.get_client_gate_port() != 0;
}

TEST(LifeUnderTraffic, Rounds) {
    const auto setting = [](const char* _name, unsigned _otherwise) {
        const char* const text = std::getenv(_name);
        return text == nullptr ? _otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
    };
    const unsigned rounds = setting("VORN35_ROUNDS", 30);
    const unsigned seed = setting("VORN35_SEED", std::random_device{}());
    std::printf("VORN35_SEED=%u VORN35_ROUNDS=%u\n", seed, rounds);
    settle_threads();
    const std::size_t threads_before = threads();
    const std::size_t descriptors_before = descriptors();
    std::size_t heap_before = 0;
    for (unsigned number = 0; number < rounds && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE("round " + std::to_string(number));
        ::alarm(45);  // ends a hang
        Round(seed + number).run();
        EXPECT_EQ(descriptors(), descriptors_before);
        EXPECT_TRUE(eventually([=] { return threads() == threads_before; }));
        EXPECT_EQ(records(), 0U);
        const std::vector<std::string> left = sweep(is_lost);
        // What the full pipe holds, and a second answer to one request (its own and that of the loss), which nothing
        // keeps: that happens once in tens of thousands of rounds.
        EXPECT_LE(left.size(), 2 * (17U + 1)) << "more than the pipe can hold: " << testing::PrintToString(left);
        if (number == 9) heap_before = mallinfo2().uordblks;
    }
    ::alarm(0);
    const std::size_t heap_after = mallinfo2().uordblks;
    std::printf("figure: lives = %zu, callbacks = %zu, heap in use = %zu bytes after 10 rounds, %zu at the end\n",
                lives.load(), callbacks.load(), heap_before, heap_after);
    EXPECT_LT(heap_before == 0 ? 0 : heap_after, heap_before + 65'536);
    EXPECT_TRUE(lives > rounds && callbacks > rounds);
}

}  // namespace
