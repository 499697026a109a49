// Information: values from the service, by both roads, and what is kept of them.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Information : public Runtime {};

TEST_F(Information, LargeValuesOfAttachedMembers) {
    auto& publisher = make<Information_service>(c_code, make<Stub>());
    auto& follower = make<Information_client>(c_code, make<Proxy>());
    const Addr service = publisher.open();
    follower.connect(service);
    const Other_client other(service);
    EXPECT_EQ(follower.link(false), "link 0");
    EXPECT_EQ(publisher.reliable, 0);
    EXPECT_EQ(other.ask(EMsg::information_udp_connect, c_code, "payload"), EMsg::information_udp_confirm);
    for (const std::size_t size : {60000U, 60001U}) {
        publisher.put(pattern<std::string>(size));
        EXPECT_EQ(follower.log.take(), "value of " + std::to_string(size));
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
    EXPECT_EQ(publisher.reliable, 1);
    const std::string huge = pattern<std::string>(8 << 20);
    publisher.put(huge);
    EXPECT_EQ(follower.log.take(), "value of 8388608");
    EXPECT_EQ(follower.model, on_post);
    EXPECT_EQ(follower.limit, c_endless);
    EXPECT_TRUE(joined(follower.see_history(1)) == huge + ",");
}

TEST_F(Information, OneDatagramForAllClientsOfAnInterface) {
    hears_itself = true;  // as the witness has joined the group
    auto& publisher = make<Information_service>(Msg_code{0x0A0B});
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
    publisher.put("1");
    leave(first);
    publisher.put("2");
    leave(second);
    publisher.put("3");
    EXPECT_EQ(first.ask(EMsg::information_udp_connect, 0x0A0B), EMsg::information_udp_confirm);
    publisher.put("4");
    for (const char value : {'1', '2', '4'}) {
        const Bytes datagram = witness.read(21);
        EXPECT_EQ(datagram[1], 118);
        EXPECT_EQ(datagram[10], value - '0');
        EXPECT_EQ(datagram[20], value);
    }
    EXPECT_FALSE(witness.readable(0));
}

TEST_F(Information, ReliableClientThatLeavesByTheOtherForm) {
    auto& publisher = make<Information_service>();
    const Other_client client(publisher.open());
    EXPECT_EQ(client.ask(EMsg::delegate_information_tcp_connect, c_code), EMsg::delegate_information_tcp_confirm);
    client.tell(EMsg::delegate_information_tcp_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    publisher.put("still");
    EXPECT_EQ(client.next().payload, text("still"));
    EXPECT_EQ(client.ask(EMsg::information_tcp_connect, c_code), EMsg::information_tcp_confirm);
    client.tell(EMsg::information_tcp_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    publisher.put("none");
    EXPECT_EQ(client.ask(EMsg::information_udp_connect, 99), EMsg::information_udp_reject);
}

TEST_F(Information, Histories) {
    auto publisher = std::make_unique<Information_service>();
    auto follower = std::make_unique<Information_client>();
    follower->connect(publisher->open());
    EXPECT_EQ(follower->link(true), "link 0");
    publisher->set_history_size(3);
    follower->set_history_size(2);
    History at_publisher;
    History at_follower;
    for (const char* text : {"a", "b", "c", "d"}) {
        publisher->put(text);
        EXPECT_EQ(follower->log.take(), std::string("value ") + text);
        if (*text != 'c') continue;
        at_publisher = publisher->see_history(10);
        at_follower = follower->see_history(10);
    }
    EXPECT_EQ(joined(publisher->see_history(2)), "d,c,");
    EXPECT_EQ(joined(follower->see_history(10)), "d,c,");
    char cut[2] = {'?', '?'};
    Pksize size = 1;
    EXPECT_EQ(publisher->put("long"), 0);
    EXPECT_EQ(publisher->read(cut, &size), 0);
    EXPECT_EQ(std::string(cut, 2), "l?");
    EXPECT_EQ(size, 1U);
    EXPECT_EQ(follower->log.take(), "value long");

    follower->set_sync(false);
    publisher->put("silent");
    EXPECT_TRUE(eventually([&] { return follower->newest() == "silent"; }));
    follower->set_sync(true);
    follower->set_history_size(0);
    publisher->put("told");
    EXPECT_EQ(follower->log.take(), "value told");
    EXPECT_EQ(follower->newest(), "VORN_ERR_EMPTY_HISTORY_");

    follower->unlink();
    EXPECT_EQ(publisher->log.take(), "unlink 0");
    EXPECT_EQ(follower->see_history(1), nullptr);
    EXPECT_EQ(publisher->stop(), 0);
    EXPECT_EQ(publisher->see_history(1), nullptr);
    EXPECT_EQ(follower->stop(), 0);
    publisher.reset();
    follower.reset();
    EXPECT_EQ(finalize(), 0);
    History copy = at_publisher;
    at_publisher.clear();
    at_publisher.clear();
    EXPECT_TRUE(!at_publisher && at_publisher.empty() && at_publisher[0].buffer_ == nullptr);
    const History& self = copy;
    copy = self;
    EXPECT_EQ(joined(copy), "c,b,a,");
    EXPECT_EQ(copy[0].interval, c_endless);
    EXPECT_TRUE(copy[3].buffer_ == nullptr && copy[3].size == 0);
    copy = at_follower;
    at_follower = History();
    EXPECT_EQ(joined(copy), "c,b,");
}

TEST_F(Information, OneWriterAtATime) {
    auto& publisher = make<Information_service>();
    EXPECT_EQ(publisher.get(1), nullptr);
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
        EXPECT_EQ(publisher.put("2nd"), 0);
        second_is_in = true;
    });
    std::memcpy(block, "1st!", 4);
    EXPECT_FALSE(second_is_in);
    EXPECT_EQ(publisher.post(3), 0);
    second.join();
    EXPECT_EQ(joined(publisher.see_history(2)), "2nd,");

    // A stop takes the block from its writer, and lets go whoever waits for it.
    void* const taken = publisher.get(4);
    ASSERT_NE(taken, nullptr);
    std::thread waits([&] { EXPECT_EQ(publisher.get(4), nullptr); });
    EXPECT_EQ(publisher.stop(), 0);
    std::memcpy(taken, "late", 4);  // the writer cannot know
    waits.join();
    EXPECT_EQ(publisher.post(1), VORN_ERR_IS_NOT_CREATED_);
    publisher.open();
    // What the old writer still does must not touch the block of the next one.
    Gate gate;
    gate.close();
    std::thread next([&] {
        void* const own = publisher.get(4);
        gate.pass();
        std::memcpy(own, "next", 4);
        EXPECT_EQ(publisher.post(4), 0);
    });
    gate.until_reached();
    EXPECT_EQ(publisher.post(1), VORN_ERR_DONT_GET_);
    publisher.cancel();
    EXPECT_EQ(publisher.post(1), VORN_ERR_DONT_GET_);
    std::memcpy(taken, "done", 4);
    gate.open();
    next.join();
    EXPECT_EQ(joined(publisher.see_history(1)), "next,");
    EXPECT_EQ(publisher.put("anew"), 0);
}

TEST_F(Information, WrittenWhileStopped) {
    auto& service = make<Information_service>();
    const Addr address = service.open();
    std::atomic<bool> done{false};
    // A value is written or it is not: a stop takes no block away from under a `write`.
    std::thread writes([&, value = std::string(2'000'000, 'x')] {
        while (!done) {
            const Error err = service.put(value);
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
    auto& publisher = make<Information_service>();
    publisher.set_sync_model(on_timer, 0.01);
    publisher.set_history_size(2);
    auto& follower = make<Information_client>();
    std::atomic<bool> end_timer{false};
    follower.in_callback = [&](Addr) {
        if (end_timer) publisher.set_sync_model(on_post, 0);
    };
    follower.connect(publisher.open());
    EXPECT_EQ(publisher.put("beat"), 0);
    // Nobody posts any more; who links late gets it all the same, at the rate.
    EXPECT_EQ(follower.link(true), "link 0");
    const auto begin = std::chrono::steady_clock::now();
    for (int beat = 0; beat < 6; ++beat) EXPECT_EQ(follower.log.take(), "value beat");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
    EXPECT_EQ(follower.model, on_timer);
    EXPECT_TRUE(follower.limit > 0 && follower.limit <= 0.0101) << "what is left of it";
    EXPECT_EQ(joined(publisher.see_history(9)), "beat,beat,");
    // The model may change in a callback, and there it waits for the timer.
    end_timer = true;
    EXPECT_TRUE(eventually([&] {
        publisher.put("posted");
        follower.log.take();
        return follower.model == on_post;
    }));
}

TEST_F(Information, TimerOutlivesStopAndRuntimeAndEndsWithItsMember) {
    auto& publisher = make<Information_service>();
    auto& stub = make<Serving<Stub>>();
    auto attached = std::make_unique<Information_service>(Msg_code{1}, stub);
    for (Information_service* one : {&publisher, attached.get()}) one->set_sync_model(on_timer, 0.0005);
    Information_client follower;
    const Addr service = publisher.open();
    stub.open();
    follower.connect(service);
    EXPECT_EQ(follower.link(true), "link 0");
    publisher.put("1");
    attached->put("1");
    follower.log.take(3);
    // Stopped and started again while the timer beats; it goes on with what is posted then.
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(publisher.stop(), 0);
        publisher.open();
        publisher.put("again");
    }
    publisher.set_history_size(5);
    EXPECT_TRUE(eventually([&] { return History(publisher.see_history(9)).size() == 5; }));
    EXPECT_EQ(follower.stop(), 0);
    attached.reset();
    EXPECT_FALSE(stub.is_started());
    // `publisher` beats on past `finalize`: see the fixture.
}

}  // namespace
