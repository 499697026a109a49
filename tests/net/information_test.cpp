// Information: values from the service, over TCP and multicast, and what is kept of them. What commands have in common
// with it is here, too.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Information : public Runtime {
protected:
    Information_service& publisher = make<Information_service>();
    Information_client& follower = make<Information_client>();
    const Ends<Information_service, Information_client> information{publisher, follower};
    const Ends<Command_service, Command_client> command{make<Command_service>(), make<Command_client>()};

    template <class Kind, class... Form>
    void one_writer_at_a_time(const Kind& _ends, Form... _form) {
        auto& writer = _ends.writer();
        EXPECT_EQ(writer.get(1), nullptr);
        _ends.connect_and_link(_form...);
        EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
        ASSERT_NE(writer.get(4), nullptr);
        writer.cancel();
        EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
        void* const block = writer.get(4);
        EXPECT_EQ(writer.post(5), VORN_ERR_TOO_BIG_SIZE_);
        std::thread second([&] { EXPECT_EQ(writer.put("2nd"), 0); });
        std::memcpy(block, "1st!", 4);
        EXPECT_EQ(writer.post(3), 0);
        second.join();
        EXPECT_EQ(joined(writer.see_history(1)), "2nd,");
        _ends.reader().log.take(2);  // they may overtake each other
        // A stop takes the block from its writer, and releases a second one from its wait.
        void* const taken = writer.get(4);
        std::thread waits([&] { EXPECT_EQ(writer.get(4), nullptr); });
        EXPECT_EQ(writer.stop(), 0);
        std::memcpy(taken, "late", 4);  // the writer cannot know
        waits.join();
        EXPECT_EQ(writer.post(1), VORN_ERR_IS_NOT_CREATED_);
        if constexpr (!Kind::c_from_service) {
            EXPECT_EQ(_ends.service.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
            return;
        }
        // What the old writer still does must not touch the block of the next one.
        _ends.service.open();
        Gate gate;
        gate.close();
        std::thread next([&] {
            void* const own = writer.get(4);
            gate.pass();
            std::memcpy(own, "next", 4);
            EXPECT_EQ(writer.post(4), 0);
        });
        gate.until_reached();
        EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
        std::memcpy(taken, "done", 4);
        writer.cancel();
        EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
        gate.open();
        next.join();
        EXPECT_EQ(joined(writer.see_history(1)), "next,");
    }

    template <class Kind, class... Form>
    void timer(const Kind& _ends, Form... _form) {
        auto& reader = _ends.reader();
        std::atomic<bool> end_timer{false};
        reader.in_callback = [&](Addr) {
            if (end_timer) _ends.set_sync_model(on_post, 0);
        };
        _ends.set_sync_model(on_timer, 0.01);
        _ends.writer().set_history_size(2);
        _ends.client.connect(_ends.service.open());
        EXPECT_EQ(_ends.writer().put("beat"), 0);
        // A link that comes after the last post gets the value all the same, at the rate.
        EXPECT_EQ(_ends.client.link(_form...), "link 0");
        const auto begin = std::chrono::steady_clock::now();
        for (int beat = 0; beat < 6; ++beat) EXPECT_EQ(reader.log.take(), "timer value beat");
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
        EXPECT_EQ(joined(_ends.writer().see_history(9)), "beat,beat,");
        // The model may change in a callback, and there it waits for the timer.
        end_timer = true;
        do _ends.writer().put("posted");
        while (reader.log.take() != "value posted" && !HasFailure());
        reader.in_callback = nullptr;
        _ends.client.unlink();
        while (_ends.service.log.take() != "unlink 0") continue;
    }
};

TEST_F(Information, OneWriterAtATime) {
    one_writer_at_a_time(information, true);
    one_writer_at_a_time(command);
    lost_blocks = 2;  // the newest value at the service of commands
}

TEST_F(Information, Timers) {
    timer(information, true);
    timer(command);
}

TEST_F(Information, LargeValuesAndMulticast) {
    hears_itself = true;  // as the witness has joined the group
    const Addr service = publisher.open();
    const Raw_socket witness = datagram_socket(service.port);
    ip_mreq group{};
    group.imr_multiaddr.s_addr = htonl(232U << 24 | (service.port & 0xFFU) << 16 | c_code);
    group.imr_interface.s_addr = c_here;
    ASSERT_EQ(::setsockopt(witness.fd, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group), 0);
    const Other_client first(service);
    const Other_client second(service);
    EXPECT_EQ(first.ask(EMsg::information_udp_connect, c_code, "payload"), EMsg::information_udp_confirm);
    EXPECT_EQ(publisher.reliable, 0);
    EXPECT_EQ(second.ask(EMsg::delegate_information_udp_connect, c_code), EMsg::delegate_information_udp_confirm);
    const auto leave = [&](const Other_client& _client) {
        _client.tell(EMsg::information_udp_shutdown, c_code);
        EXPECT_EQ(publisher.log.take(), "unlink 0");
    };
    // One datagram for all clients of an interface, and none without a client.
    publisher.put("1");
    leave(first);
    publisher.put("2");
    publisher.put(pattern<std::string>(60000));
    leave(second);
    publisher.put("4");
    EXPECT_EQ(first.ask(EMsg::information_udp_connect, c_code), EMsg::information_udp_confirm);
    publisher.put("5");
    for (const int number : {1, 2, 3, 5}) {
        const Bytes datagram = witness.read(21);
        EXPECT_EQ(datagram[1], 118);
        EXPECT_EQ(datagram[10], number);
    }
    // Too large for a datagram: by TCP, of the same type, and dropped while the connection sends something else.
    Wire_message by_tcp;
    for (; by_tcp.is_heartbeat(); by_tcp = first.any()) publisher.put(pattern<std::string>(60001));
    EXPECT_EQ(static_cast<EMsg>(by_tcp.type), EMsg::information_udp);
    EXPECT_EQ(by_tcp.payload, pattern(60001));
    EXPECT_FALSE(witness.readable(0));

    const Ends<Information_service, Information_client> attached{make<Information_service>(Msg_code{9}, make<Stub>()),
                                                                 make<Information_client>(Msg_code{9}, make<Proxy>())};
    attached.connect_and_link(true);
    attached.pass(pattern<std::string>(8 << 20));
}

TEST_F(Information, ReliableClientThatLeavesByTheOtherForm) {
    const Other_client client(publisher.open());
    EXPECT_EQ(client.ask(EMsg::delegate_information_tcp_connect, c_code), EMsg::delegate_information_tcp_confirm);
    for (const EMsg leave : {EMsg::delegate_information_tcp_shutdown, EMsg::information_tcp_shutdown}) {
        client.tell(leave, c_code);
        EXPECT_EQ(publisher.log.take(), "unlink 0");
        publisher.put("still");  // to the first
    }
    EXPECT_EQ(client.next().payload, text("still"));
    EXPECT_EQ(client.ask(EMsg::information_udp_connect, 99), EMsg::information_udp_reject);
}

TEST_F(Information, Histories) {
    information.connect_and_link(true);
    publisher.set_history_size(3);
    follower.set_history_size(2);
    for (const char* text : {"a", "b", "c"}) information.pass(text);
    History at_publisher = publisher.see_history(10);
    const History at_follower = follower.see_history(10);
    information.pass("long");
    EXPECT_EQ(joined(publisher.see_history(2)), "long,c,");
    EXPECT_EQ(joined(follower.see_history(10)), "long,c,");
    char cut[2] = {'?', '?'};
    Pksize size = 1;
    EXPECT_EQ(publisher.read(cut, &size), 0);
    EXPECT_EQ(std::string(cut, 2), "l?");
    follower.set_sync(false);
    publisher.put("silent");
    EXPECT_TRUE(eventually([&] { return follower.newest() == "silent"; }));
    follower.set_sync(true);
    follower.set_history_size(0);
    information.pass("not kept");
    EXPECT_EQ(follower.newest(), "VORN_ERR_EMPTY_HISTORY_");
    EXPECT_EQ(publisher.stop(), 0);
    EXPECT_EQ(publisher.see_history(1), nullptr);
    EXPECT_EQ(follower.stop(), 0);
    EXPECT_EQ(finalize(), 0);
    objects.clear();
    // Snapshots outlive their objects and the runtime.
    History copy = at_publisher;
    at_publisher.clear();
    at_publisher.clear();
    EXPECT_TRUE(!at_publisher && at_publisher.empty() && at_publisher[0].buffer_ == nullptr);
    EXPECT_EQ(joined(copy), "c,b,a,");
    EXPECT_TRUE(copy[0].interval == c_endless && copy[3].buffer_ == nullptr && copy[3].size == 0);
    copy = at_follower;
    EXPECT_EQ(joined(copy), "c,b,");
}

}  // namespace
