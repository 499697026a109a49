// Information: values from the service, by both roads, and what is kept of them.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Information : public Runtime {};

class Publisher : public Serving<Stub_information> {
public:
    explicit Publisher(Msg_code _code = c_code) : Serving(_code) {}
    Publisher(const Stub& _stub, Msg_code _code) : Serving(_code, _stub) {}
    Error publish(const std::string& _text) { return write(_text.data(), static_cast<Pksize>(_text.size())); }
    std::atomic<int> reliable{-1};  ///< What the last request for a link asked for.

private:
    Error on_link(Addr, bool _reliability, double, double) override {
        reliable = _reliability;
        return decide();
    }
    void on_unlink(Addr, Error _error) override { log.put("unlink " + name_of(_error)); }
};

struct Value {
    std::string data;
    Sync_model model = on_post;
    double limit = 0;
};

class Follower : public Linking<Proxy_information> {
public:
    explicit Follower(Msg_code _code = c_code) : Linking(_code) {}
    Follower(const Proxy& _proxy, Msg_code _code) : Linking(_code, _proxy) {}

    std::string newest() {
        std::string buffer(64, '?');
        auto size = static_cast<Pksize>(buffer.size());
        const Error err = read(buffer.data(), &size);
        return err == 0 ? buffer.substr(0, size) : name_of(err);
    }
    Events<Value> values;
    std::function<void()> in_callback;

private:
    void on_sync(Sync_model _model, double _elapsed, double _limit, const void* _data, Pksize _size) override {
        EXPECT_GE(_elapsed, 0);
        if (in_callback) in_callback();
        values.put({bytes_of(_data, _size), _model, _limit});
    }
};

std::string joined(const History& _history) {
    std::string all;
    for (unsigned int i = 0; i < _history.size(); ++i) all += bytes_of(_history[i].buffer_, _history[i].size) + ",";
    return all;
}

TEST_F(Information, EveryFormOfLink) {
    auto& publisher = make<Publisher>();
    auto& follower = make<Follower>();
    follower.connect(publisher.open());
    EXPECT_EQ(publisher.publish("nobody"), 0);
    for (const bool plain : {false, true}) {
        for (const bool reliable : {true, false}) {
            publisher.decision = c_refusal;
            EXPECT_EQ(plain ? follower.await_link(&publisher.gate, reliable) : follower.link(reliable), "link 77");
            EXPECT_FALSE(follower.is_linked());
            publisher.decision = 0;
            EXPECT_EQ(plain ? follower.await_link(&publisher.gate, reliable) : follower.link(reliable), "link 0");
            EXPECT_EQ(publisher.reliable, int{reliable});
            EXPECT_EQ(follower.await_link_return(follower.async_link(reliable, 1), nullptr),
                      VORN_ERR_ALREADY_CONNECTED_);
            EXPECT_EQ(follower.newest(), "VORN_ERR_EMPTY_HISTORY_");

            EXPECT_EQ(publisher.publish("value"), 0);
            const Value value = follower.values.take();
            EXPECT_EQ(value.data, "value");
            EXPECT_EQ(value.model, on_post);
            EXPECT_EQ(value.limit, c_endless);
            EXPECT_EQ(follower.newest(), "value");
            EXPECT_EQ(publisher.publish(""), 0);
            EXPECT_EQ(follower.values.take().data, "");
            EXPECT_EQ(follower.newest(), "");

            follower.unlink();
            EXPECT_EQ(publisher.log.take(), "unlink 0");
            EXPECT_EQ(follower.newest(), "VORN_ERR_EMPTY_HISTORY_");
            EXPECT_EQ(follower.see_history(1), nullptr);

            EXPECT_EQ(follower.link(reliable), "link 0");
            plain ? publisher.unlink(follower.self()) : publisher.unlink_all_proxy();
            EXPECT_EQ(follower.log.take(), "unlink 0");
        }
    }
    publisher.publish("nobody");
    EXPECT_TRUE(publisher.log.empty());
    EXPECT_TRUE(follower.values.empty());
}

TEST_F(Information, LossAndTheLinkAfterwards) {
    auto& publisher = make<Publisher>();
    auto& follower = make<Follower>();
    follower.connect(publisher.open());
    for (const bool reliable : {true, false}) {
        EXPECT_EQ(follower.await_link(&publisher.gate, reliable), "link 0");
        publisher.publish("old");
        EXPECT_EQ(follower.values.take().data, "old");
        follower.lose_connection();
        for (Log* log : {&follower.log, &publisher.log}) {
            EXPECT_EQ(log->take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
            EXPECT_EQ(log->take(), "disconnect");
        }
        EXPECT_EQ(follower.newest(), "VORN_ERR_EMPTY_HISTORY_");
        publisher.publish("nobody");
        EXPECT_EQ(follower.link(reliable), "link 0");
        publisher.publish("new");
        EXPECT_EQ(follower.values.take().data, "new");
        follower.unlink();
        EXPECT_EQ(publisher.log.take(), "unlink 0");
    }
}

TEST_F(Information, LargeValuesOfAttachedMembers) {
    auto& publisher = make<Publisher>(make<Stub>(), c_code);
    const Addr service = publisher.open();
    auto& follower = make<Follower>(make<Proxy>(), c_code);
    follower.connect(service);
    const Other_client other(service);
    EXPECT_EQ(follower.link(false), "link 0");
    EXPECT_EQ(other.ask(EMsg::information_udp_connect, c_code, "payload"), EMsg::information_udp_confirm);
    for (const std::size_t size : {60000U, 60001U}) {
        publisher.publish(std::string(size, 'x'));
        EXPECT_EQ(follower.values.take().data.size(), size);
    }
    // By TCP comes the one that is too large, and keeps its type.
    const Wire_message large = other.next();
    EXPECT_EQ(static_cast<EMsg>(large.type), EMsg::information_udp);
    EXPECT_EQ(large.payload.size(), 60001U);
    EXPECT_EQ(large.num, 2);
    other.tell(EMsg::information_udp_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");

    follower.unlink();
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    EXPECT_EQ(follower.link(true), "link 0");
    std::string huge(8 << 20, '\0');
    for (std::size_t i = 0; i < huge.size(); ++i) huge[i] = static_cast<char>(i * 7 ^ i >> 8);
    publisher.publish(huge);
    EXPECT_TRUE(follower.values.take().data == huge);
}

TEST_F(Information, OneDatagramForAllClientsOfAnInterface) {
    auto& publisher = make<Publisher>(Msg_code{0x0A0B});
    const Addr service = publisher.open();
    const Raw_socket witness = datagram_socket(service.port);
    ip_mreq group{};
    group.imr_multiaddr.s_addr = htonl(232U << 24 | (service.port & 0xFFU) << 16 | 0x0A0B);
    group.imr_interface.s_addr = c_here;
    ASSERT_EQ(::setsockopt(witness.fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group), 0);
    const Other_client first(service);
    const Other_client second(service);
    EXPECT_EQ(first.ask(EMsg::information_udp_connect, 0x0A0B), EMsg::information_udp_confirm);
    EXPECT_EQ(second.ask(EMsg::delegate_information_udp_connect, 0x0A0B), EMsg::delegate_information_udp_confirm);
    const auto leave = [&publisher](const Other_client& _client) {
        _client.tell(EMsg::information_udp_shutdown, 0x0A0B);
        EXPECT_EQ(publisher.log.take(), "unlink 0");
    };
    publisher.publish("1");
    leave(first);
    publisher.publish("2");
    leave(second);
    publisher.publish("3");
    EXPECT_EQ(first.ask(EMsg::information_udp_connect, 0x0A0B), EMsg::information_udp_confirm);
    publisher.publish("4");
    for (const char value : {'1', '2', '4'}) {
        const Bytes datagram = witness.read(21);
        EXPECT_EQ(datagram[1], 118);
        EXPECT_EQ(datagram[10], value - '0');
        EXPECT_EQ(datagram[20], value);
    }
    EXPECT_FALSE(witness.readable(0));
}

TEST_F(Information, ReliableClientThatLeavesByTheOtherForm) {
    auto& publisher = make<Publisher>();
    const Other_client client(publisher.open());
    EXPECT_EQ(client.ask(EMsg::delegate_information_tcp_connect, c_code), EMsg::delegate_information_tcp_confirm);
    client.tell(EMsg::delegate_information_tcp_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    publisher.publish("still");
    EXPECT_EQ(client.next().payload, text("still"));
    EXPECT_EQ(client.ask(EMsg::information_tcp_connect, c_code), EMsg::information_tcp_confirm);
    client.tell(EMsg::information_tcp_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    publisher.publish("none");
    EXPECT_EQ(client.ask(EMsg::information_udp_connect, 99), EMsg::information_udp_reject);
}

TEST_F(Information, Histories) {
    auto owned_publisher = std::make_unique<Publisher>();
    auto owned_follower = std::make_unique<Follower>();
    Publisher& publisher = *owned_publisher;
    Follower& follower = *owned_follower;
    follower.connect(publisher.open());
    EXPECT_EQ(follower.link(true), "link 0");
    publisher.set_history_size(3);
    follower.set_history_size(2);
    History at_publisher;
    History at_follower;
    for (const char* text : {"a", "b", "c", "d"}) {
        publisher.publish(text);
        EXPECT_EQ(follower.values.take().data, text);
        if (*text != 'c') continue;
        at_publisher = publisher.see_history(10);
        at_follower = follower.see_history(10);
    }
    EXPECT_EQ(joined(History(publisher.see_history(2))), "d,c,");
    EXPECT_EQ(joined(History(follower.see_history(10))), "d,c,");
    char cut[2] = {'?', '?'};
    Pksize size = 1;
    EXPECT_EQ(publisher.publish("long"), 0);
    EXPECT_EQ(publisher.read(cut, &size), 0);
    EXPECT_EQ(std::string(cut, 2), "l?");
    EXPECT_EQ(size, 1U);
    EXPECT_EQ(follower.values.take().data, "long");

    follower.set_sync(false);
    publisher.publish("silent");
    EXPECT_TRUE(eventually([&] { return follower.newest() == "silent"; }));
    follower.set_sync(true);
    follower.set_history_size(0);
    publisher.publish("told");
    EXPECT_EQ(follower.values.take().data, "told");
    EXPECT_EQ(follower.newest(), "VORN_ERR_EMPTY_HISTORY_");

    EXPECT_EQ(publisher.stop(), 0);
    EXPECT_EQ(publisher.see_history(1), nullptr);
    EXPECT_EQ(follower.stop(), 0);
    owned_publisher.reset();
    owned_follower.reset();
    const History copy = at_publisher;
    at_publisher.clear();
    EXPECT_EQ(joined(copy), "c,b,a,");
    EXPECT_EQ(joined(at_follower), "c,b,");
    EXPECT_EQ(copy[0].interval, c_endless);
}

TEST_F(Information, OneWriterAtATime) {
    auto& publisher = make<Publisher>();
    EXPECT_EQ(publisher.get(1), nullptr);
    EXPECT_EQ(publisher.publish("x"), VORN_ERR_IS_NOT_CREATED_);
    publisher.open();
    EXPECT_EQ(publisher.post(1), VORN_ERR_DONT_GET_);
    publisher.cancel();
    ASSERT_NE(publisher.get(4), nullptr);
    publisher.cancel();
    EXPECT_EQ(publisher.post(1), VORN_ERR_DONT_GET_);

    void* const block = publisher.get(4);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(publisher.post(5), VORN_ERR_TOO_BIG_SIZE_);
    std::atomic<bool> second_is_in{false};
    std::thread second([&] {
        EXPECT_EQ(publisher.publish("2nd"), 0);
        second_is_in = true;
    });
    std::memcpy(block, "1st!", 4);
    EXPECT_FALSE(second_is_in);
    EXPECT_EQ(publisher.post(3), 0);
    second.join();
    EXPECT_EQ(joined(History(publisher.see_history(2))), "2nd,");

    // A stop takes the block from its writer, and lets go whoever waits for it.
    ASSERT_NE(publisher.get(4), nullptr);
    std::thread waits([&] { EXPECT_EQ(publisher.get(4), nullptr); });
    EXPECT_EQ(publisher.stop(), 0);
    waits.join();
    EXPECT_EQ(publisher.post(1), VORN_ERR_IS_NOT_CREATED_);
    publisher.open();
    EXPECT_EQ(publisher.publish("anew"), 0);
}

TEST_F(Information, WrittenWhileStopped) {
    auto& service = make<Publisher>();
    const Addr address = service.open();
    std::atomic<bool> done{false};
    // A value is written or it is not: a stop takes no block away from under a `write`.
    std::thread writes([&, value = std::string(2'000'000, 'x')] {
        while (!done) {
            const Error err = service.publish(value);
            EXPECT_TRUE(err == 0 || err == VORN_ERR_IS_NOT_CREATED_) << get_err_str(err);
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(service.stop(), 0);
        Port port = address.port;
        EXPECT_EQ(service.start(nullptr, &port), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(i));  // anywhere in a write
    }
    done = true;
    writes.join();
}

TEST_F(Information, Timer) {
    auto& publisher = make<Publisher>();
    publisher.set_sync_model(on_timer, 0.01);
    publisher.set_history_size(2);
    auto& follower = make<Follower>();
    std::atomic<bool> end_timer{false};
    follower.in_callback = [&] {
        if (end_timer) publisher.set_sync_model(on_post, 0);
    };
    follower.connect(publisher.open());
    EXPECT_EQ(publisher.publish("beat"), 0);
    // Nobody posts any more; who links late gets it all the same, at the rate.
    EXPECT_EQ(follower.link(true), "link 0");
    const auto begin = std::chrono::steady_clock::now();
    for (int beat = 0; beat < 6; ++beat) {
        const Value value = follower.values.take();
        EXPECT_EQ(value.data, "beat");
        EXPECT_EQ(value.model, on_timer);
        EXPECT_GT(value.limit, 0);  // what is left of it
        EXPECT_LE(value.limit, 0.0101);
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
    EXPECT_EQ(joined(History(publisher.see_history(9))), "beat,beat,");

    // The model may change in a callback, and there it waits for the timer.
    end_timer = true;
    EXPECT_TRUE(
        eventually([&] { return publisher.publish("posted") == 0 && follower.values.take().model == on_post; }));
}

TEST_F(Information, TimerOutlivesStopAndRuntimeAndEndsWithItsMember) {
    auto& publisher = make<Publisher>();
    auto& stub = make<Serving<Stub>>();
    auto attached = std::make_unique<Publisher>(stub, Msg_code{1});
    for (Publisher* one : {&publisher, attached.get()}) one->set_sync_model(on_timer, 0.0005);
    Follower follower;
    const Addr service = publisher.open();
    stub.open();
    follower.connect(service);
    EXPECT_EQ(follower.link(true), "link 0");
    publisher.publish("1");
    attached->publish("1");
    follower.values.take(3);
    // Stopped and started again while the timer beats; it goes on with what is posted then.
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(publisher.stop(), 0);
        publisher.open();
        publisher.publish("again");
    }
    publisher.set_history_size(5);
    EXPECT_TRUE(eventually([&] { return History(publisher.see_history(9)).size() == 5; }));
    EXPECT_EQ(follower.stop(), 0);
    attached.reset();
    EXPECT_FALSE(stub.is_started());
    // `publisher` beats on past `finalize`: see the fixture.
}

}  // namespace
