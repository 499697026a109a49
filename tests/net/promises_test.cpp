// What the reliable profile promises, and what the standard one does instead. Prints what it measures.

#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <functional>

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

using Clock_t = std::chrono::steady_clock;

double seconds_since(Clock_t::time_point _start) {
    return std::chrono::duration<double>(Clock_t::now() - _start).count();
}

double median(std::vector<double> _values) {
    std::ranges::sort(_values);
    return _values[_values.size() / 2];
}

class Promises : public Pair, public testing::WithParamInterface<bool> {
protected:
    Promises() : Pair(by_the_test) {}
    void SetUp() override {
        Pair::SetUp();
        ASSERT_EQ(initialize(reliable ? Runtime_options::reliable() : Runtime_options::standard()), 0);
        under_pressure = true;
    }
    void figure(const std::string& _name, double _value, const char* _unit) const {
        std::printf("figure: %s, %s = %.6g %s\n", _name.c_str(), reliable ? "reliable" : "standard", _value, _unit);
    }
    /// A name of this host of its own: a process has one client for each address.
    static Addr at_host(std::size_t _number, Addr _address) {
        return {htonl(0x7F000001U + static_cast<IP>(_number)), _address.port};
    }
    static double count(std::string_view _name) { return sum_of(statistics(), "vorn35_" + std::string(_name)); }

    const bool reliable = GetParam();
    const bool is_long = many(0) != 0;
};

TEST_P(Promises, ManyThatConnectAndEndAtOnce) {
    const std::size_t links = reliable ? many(200, 1000) : 200;
    g_listen_backlog = static_cast<int>(links);  // as vorn.ini would
    auto& publisher = make<Event_service>();
    const Addr to = publisher.open();
    std::vector<Event_client*> all;
    for (std::size_t i = 0; i < links; ++i) {
        all.push_back(&make<Event_client>());
        ASSERT_EQ(all.back()->start(at_host(i, to)), 0);
        if (!reliable) all.back()->connected.take();  // one at a time
    }
    for (std::size_t i = 0; i < links; ++i) {
        if (reliable) all[i]->connected.take();
        if (i % 2 == 0) _Proxy::of(all[i])->get_msg_num();  // in the standard profile equal numbers are a repeat
        ASSERT_EQ(all[i]->link(), "link 0");
    }
    const double refused = count("messages_refused_total");
    {
        const std::lock_guard lock(g_establish_server_map_lock);
        for (const auto& [addr, record] : g_establish_server_map) ::shutdown(record->socket, SHUT_RDWR);
    }
    const auto told = [&] {
        std::size_t sum = publisher.disconnected.size();
        for (Event_client* const one : all) sum += one->disconnected.size();
        return static_cast<double>(sum);
    };
    const auto ends = static_cast<double>(2 * links);
    EXPECT_TRUE(eventually([&] { return told() + count("messages_refused_total") - refused >= ends; }));
    figure("links that end at once: part of their ends that are told", told() / ends, "");
    if (!reliable) return;
    EXPECT_EQ(told(), ends);
    for (Event_client* const one : all) EXPECT_EQ(one->log.lines(2), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect");
}

TEST_P(Promises, ClientsOfOneHostInStep) {
    constexpr std::size_t clients = 50, rounds = 20;
    address = service.open();
    std::vector<Client*> all;
    for (std::size_t i = 0; i < clients; ++i) {
        all.push_back(&make<Client>());
        all.back()->connect(at_host(i, address));
    }
    const double before = count("requests_repeated_total");
    const auto repeated = [before] { return count("requests_repeated_total") - before; };
    for (std::size_t i = 1; i <= clients * rounds; ++i) {
        all[i % clients]->delegate(text("x"));
        ASSERT_TRUE(eventually([&] { return static_cast<double>(service.called.size()) + repeated() == i; }));
    }
    figure("calls of 50 clients in step: taken for a repeat, of 1,000", repeated(), "");
    EXPECT_EQ(repeated(), reliable ? 0 : (clients - 1) * rounds);
    // A repeat of the same client is one in both.
    const Other_client raw(address);
    for (const std::uint16_t num : {2, 2, 3}) raw.send(raw.call(num, {}));
    for (const std::uint16_t num : {2, 3}) EXPECT_EQ(raw.next().num, num);
}

TEST_P(Promises, OutOfDescriptorsAndBack) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer itself takes descriptors to look whether an address is valid";
#endif
    connect();
    Raw_socket spare(stream());
    const auto failures = [] { return count("accepts_paused_total") + count("accepts_failed_total"); };
    const double before = failures();
    rlimit all{};
    ::getrlimit(RLIMIT_NOFILE, &all);
    const rlimit none{0, all.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const Raw_client raw(address.port, 0, std::exchange(spare.fd, -1));
    EXPECT_TRUE(eventually([&] { return failures() > before; }));
    ::setrlimit(RLIMIT_NOFILE, &all);
    const auto back = Clock_t::now();
    raw.send(opening(raw.port(), address.port));
    EXPECT_EQ(raw.readable(2000), reliable);
    if (reliable) {
        EXPECT_EQ(raw.read(1024).size(), 1024U);
        figure("out of descriptors and back: served after", seconds_since(back), "s");
    }
    EXPECT_EQ(client.delegate_and_take(text("x")).err, 0) << "connections that stand go on";
}

TEST_P(Promises, HalfOpenPeersOnTheRealClock) {
    if (!is_long) GTEST_SKIP() << "10 s; the short form is Reliable.OpeningsAndSilenceEnd";
    address = service.open();
    std::vector<Raw_client> half;
    for (int i = 0; i < 50; ++i) {
        half.emplace_back(address.port);
        half.back().send(Bytes(100));
    }
    const auto last = Clock_t::now();
    EXPECT_EQ(half.back().readable(13000), reliable);
    if (reliable) {
        for (const Raw_client& one : half) EXPECT_TRUE(one.ends());
        figure("50 half-open peers: the last one is gone after", seconds_since(last), "s");
    }
    EXPECT_TRUE(eventually([&] { return records() == (reliable ? 0U : 50U); }));
}

/// A peer that acts on a thread of its own, until it is destroyed.
class Bad_peer {
public:
    template <class Act>
    Bad_peer(Addr _service, Act _act)
        : raw(_service, 4096), thread([this, _act] {
              for (unsigned i = 1; !is_over && i < 4000; ++i) _act(raw, i);
              is_over = true;
          }) {}
    ~Bad_peer() {
        is_over = true;
        ::shutdown(raw.fd, SHUT_RDWR);
        thread.join();
    }

    std::atomic<bool> is_over{false};

private:
    const Other_client raw;
    std::thread thread;
};

/// The neighbour's calls, with and without a bad peer in turn.
TEST_P(Promises, BadPeersHarmNobodyElse) {
    connect();
    auto& slow = make<Service>();
    auto& news = make<Event_service>();
    const Addr to_slow = slow.open();
    const Addr to_news = news.open();
    std::atomic<bool> is_slow{true};
    slow.handler = [&is_slow](const Bytes&, Bytes* _out_) {
        if (is_slow) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        _out_->clear();
        return 0;
    };
    const std::string value(40'000, 'x');
    const auto flood = [](const Other_client& _raw, unsigned _turn) {
        _raw.send(_raw.call(static_cast<std::uint16_t>(_turn), Bytes(40'000)));
    };
    const auto rate = [&] {  // of a neighbour that makes 1,000 calls a second as long as they take no longer
        constexpr int calls = 100;
        const auto begin = Clock_t::now();
        int answered = 0;
        for (int i = 0; i < calls; ++i) {
            std::this_thread::sleep_until(begin + i * std::chrono::milliseconds(1));
            answered += client.wait(client.ask(text("x"), reliable ? 20 : 0.02)).err == 0 ? 1 : 0;
        }
        return answered / seconds_since(begin);
    };
    const auto bytes = [] { return count("memory_bytes"); };
    const auto bounds = [] { return count("connections_paused_total") + count("messages_send_bound_total"); };
    const struct {
        const char* name;
        bool returns;
        Addr to;
        std::function<void(const Other_client&, unsigned)> act;
    } cases[] = {{"a handler that never returns", false, to_slow, flood},
                 {"a sender ten times too fast", true, to_slow, flood},
                 {"a peer that never reads", true, to_news, [&](const Other_client& _raw, unsigned _turn) {
                      if (_turn == 1) _raw.ask(EMsg::event_connect, c_code);
                      news.put(value);
                      if (_turn > 2000) std::this_thread::sleep_for(std::chrono::milliseconds(1));
                  }}};
    for (const auto& [name, returns, to, act] : cases) {
        std::vector<double> without{rate()};
        std::vector<double> with;
        double most = 0;
        for (std::size_t round = many(1, 15); round != 0; --round) {
            const double used = bytes();
            const double bounded = bounds();
            if (!returns) slow.gate.close();
            is_slow = true;
            {
                const Bad_peer bad(to, act);
                EXPECT_TRUE(eventually([&] { return bad.is_over || bounds() > bounded; }));
                EXPECT_EQ(bounds() > bounded, reliable) << name;
                with.push_back(rate());
                most = std::max(most, bytes() - used);
            }
            is_slow = false;
            slow.gate.open();
            EXPECT_TRUE(eventually([&] { return bytes() < used + 100'000; }));
            without.push_back(rate());
        }
        const double kept = median(with) / median(without);
        figure(std::string(name) + ": rate of others, of that without it", kept, "");
        figure(std::string(name) + ": memory", most / (1 << 20), "MiB");
        if (!reliable) continue;
        EXPECT_LT(most, 65 << 20) << name;
        EXPECT_GE(kept, is_long && std::getenv("STARVED") == nullptr ? 0.95 : 0.1) << name;  // else noise decides
    }
}

INSTANTIATE_TEST_SUITE_P(Profile, Promises, testing::Bool(),
                         [](const auto& _info) { return _info.param ? "reliable" : "standard"; });

}  // namespace
