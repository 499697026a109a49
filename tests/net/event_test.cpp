// Events: who hears them.

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

class Event : public Runtime {};

TEST_F(Event, ConfirmationOfTheConnectionBefore) {
    auto& publisher = make<Event_service>();
    auto& subscriber = make<Event_client>();
    subscriber.connect(publisher.open());
    // Told by a listener that was overtaken by the loss and by the next connection.
    Token confirm;
    confirm.alloc_header_force();
    Packet* const pkt = confirm.get_header_packet();
    pkt->initialize_packet(c_here, relay_clock(), c_no_limit);
    pkt->initialize_header(0, 1, EMsg::delegate_event_confirm, c_code, 0);
    pkt->set_to_proxy(Addr(c_here, 1), Addr());
    {
        const Shared_hold hold;
        _Proxy::of(&subscriber)->adapter_proxy(confirm);
    }
    confirm.free();
    EXPECT_EQ(subscriber.log.take(), "link 0");
    EXPECT_FALSE(subscriber.is_linked());
    EXPECT_EQ(subscriber.link(), "link 0");
    publisher.put("x");
    EXPECT_EQ(subscriber.log.take(), "value x");
}

TEST_F(Event, StoppedWhileOthersPublishWithoutPause) {
    auto& publisher = make<Event_service>();
    publisher.open();
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, value = std::string(10'000, 'x')] {
            while (!done) publisher.put(value);
        });
    }
    Events<Error> stops;
    threads.emplace_back([&] {
        for (int i = 0; i < 10; ++i) {
            stops.put(publisher.stop());
            publisher.open();
        }
    });
    for (int i = 0; i < 10 && !testing::Test::HasFailure(); ++i) EXPECT_EQ(stops.take(), 0);
    done = true;
    for (std::thread& one : threads) one.join();
}

TEST_F(Event, TwoClientsAtOnce) {
    auto& publisher = make<Event_service>();
    const Addr service = publisher.open();
    auto& subscriber = make<Event_client>();
    subscriber.connect(service);
    EXPECT_EQ(subscriber.link(), "link 0");
    const Other_client first(service);
    Other_client second(service);
    // A payload of the request does not come back; a second link is no second place in the set.
    EXPECT_EQ(first.ask(EMsg::event_connect, c_code, "payload"), EMsg::event_confirm);
    EXPECT_EQ(first.ask(EMsg::delegate_event_connect, c_code), EMsg::delegate_event_confirm);
    EXPECT_EQ(second.ask(EMsg::event_connect, c_code), EMsg::event_confirm);
    publisher.put("all");
    const Wire_message at_first = first.next();
    const Wire_message at_second = second.next();
    EXPECT_EQ(subscriber.log.take(), "value all");
    EXPECT_EQ(static_cast<EMsg>(at_first.type), EMsg::event);
    EXPECT_EQ(at_first.payload, text("all"));
    EXPECT_EQ(at_first.limit, 0xFFFF);
    EXPECT_NE(at_first.num, at_second.num);

    publisher.unlink(first.self());
    EXPECT_EQ(static_cast<EMsg>(first.next().type), EMsg::event_disconnect);
    // Not linked any more: its leave is told, its loss is not.
    first.tell(EMsg::event_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    second.close();
    EXPECT_EQ(publisher.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
    EXPECT_EQ(publisher.log.take(), "disconnect");
    publisher.event("ignored", 0);
    EXPECT_EQ(subscriber.log.take(), "value ");
    EXPECT_FALSE(first.readable(0));
}

TEST_F(Event, AttachedMembersAndTheEndOfOne) {
    auto& stub = make<Serving<Stub>>();
    auto& publisher = make<Event_service>(Msg_code{1}, stub);
    auto second = std::make_unique<Event_service>(Msg_code{2}, stub);
    auto& proxy = make<Linking<Proxy_event>>(Msg_code{3});
    auto& subscriber = make<Event_client>(Msg_code{1}, proxy);
    auto other = std::make_unique<Event_client>(Msg_code{2}, proxy);
    proxy.connect(stub.open());
    EXPECT_EQ(subscriber.link(), "link 0");
    EXPECT_EQ(other->await_link(&second->gate), "link 0");
    EXPECT_EQ(proxy.link(), "link VORN_ERR_NOT_SUPPORT_CODE_");
    publisher.put("1");
    second->put("2");
    EXPECT_EQ(subscriber.log.take(), "value 1");
    EXPECT_EQ(other->log.take(), "value 2");
    // Stops the whole service, and with no word to anybody.
    second.reset();
    EXPECT_FALSE(stub.is_started());
    EXPECT_EQ(publisher.put("gone"), VORN_ERR_IS_NOT_CREATED_);
    // Established connections stay; what was linked is not linked with the next start.
    EXPECT_TRUE(subscriber.is_linked());
    stub.open();
    EXPECT_EQ(publisher.put("nobody"), 0);
    other.reset();
    EXPECT_FALSE(proxy.is_started() || subscriber.is_linked());
    EXPECT_TRUE(subscriber.log.empty() && publisher.log.empty());
}

}  // namespace
