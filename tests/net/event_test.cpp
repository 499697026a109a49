// Events: who hears them.

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

class Event : public Runtime {
protected:
    Event_service& publisher = make<Event_service>();
    Event_client& subscriber = make<Event_client>();
};

TEST_F(Event, StoppedWhileOthersPublishWithoutPause) {
    publisher.open();
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, value = std::string(10'000, 'x')] {
            while (!done) publisher.put(value);
        });
    }
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(publisher.stop(), 0);
        publisher.open();
    }
    done = true;
    for (std::thread& one : threads) one.join();
}

TEST_F(Event, TwoClientsAtOnce) {
    const Addr service = publisher.open();
    subscriber.connect(service);
    // A confirmation of the connection before, by a listener that was overtaken by the loss and by the next connection.
    Token confirm = message(EMsg::delegate_event_confirm, c_code);
    {
        const Shared_hold hold;
        _Proxy::of(&subscriber)->adapter_proxy(confirm);
    }
    confirm.free();
    EXPECT_EQ(subscriber.log.take(), "link 0");
    EXPECT_FALSE(subscriber.is_linked());
    EXPECT_EQ(subscriber.link(), "link 0");

    const Other_client first(service);
    Other_client second(service);
    // A payload of the request does not come back; a second link is no second place in the set.
    EXPECT_EQ(first.ask(EMsg::event_connect, c_code, "payload"), EMsg::event_confirm);
    EXPECT_EQ(first.ask(EMsg::delegate_event_connect, c_code), EMsg::delegate_event_confirm);
    EXPECT_EQ(second.ask(EMsg::event_connect, c_code), EMsg::event_confirm);
    publisher.put("all");
    EXPECT_EQ(subscriber.log.take(), "value all");
    const Wire_message at_first = first.next();
    EXPECT_EQ(static_cast<EMsg>(at_first.type), EMsg::event);
    EXPECT_EQ(at_first.payload, text("all"));
    EXPECT_EQ(at_first.limit, 0xFFFF);
    EXPECT_NE(at_first.num, second.next().num);
    publisher.unlink(first.self());
    EXPECT_EQ(static_cast<EMsg>(first.next().type), EMsg::event_disconnect);
    // Not linked any more: a shutdown still calls back, a loss does not.
    first.tell(EMsg::event_shutdown, c_code);
    EXPECT_EQ(publisher.log.take(), "unlink 0");
    second.close();
    EXPECT_EQ(publisher.log.lines(2), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect");
    publisher.event("ignored", 0);
    EXPECT_EQ(subscriber.log.take(), "value ");
    EXPECT_FALSE(first.readable(0));
}

}  // namespace
