// Events: links, and what goes over them.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Event : public Runtime {};

class Publisher : public Serving<Stub_event> {
public:
    explicit Publisher(Msg_code _code = c_code) : Serving(_code) {}
    Publisher(const Stub& _stub, Msg_code _code) : Serving(_code, _stub) {}
    Error publish(const std::string& _text) { return event(_text.data(), static_cast<Pksize>(_text.size())); }

private:
    Error on_link(Addr, double _elapsed, double _limit) override {
        EXPECT_GE(_elapsed, 0);
        EXPECT_GT(_limit, 0);
        return decide();
    }
    void on_unlink(Addr, Error _error) override {
        EXPECT_EQ(get_last_error(), _error);
        log.put("unlink " + name_of(_error));
    }
};

class Subscriber : public Linking<Proxy_event> {
public:
    explicit Subscriber(Msg_code _code = c_code) : Linking(_code) {}
    Subscriber(const Proxy& _proxy, Msg_code _code) : Linking(_code, _proxy) {}

private:
    void on_event(const void* _data, Pksize _size, double) override { log.put("event " + bytes_of(_data, _size)); }
};

TEST_F(Event, BothFormsAndUnlinkFromBothEnds) {
    auto& publisher = make<Publisher>();
    auto& subscriber = make<Subscriber>();
    EXPECT_EQ(publisher.publish("early"), VORN_ERR_IS_NOT_CREATED_);
    subscriber.connect(publisher.open());
    EXPECT_EQ(publisher.publish("nobody"), 0);
    for (const bool plain : {false, true}) {
        EXPECT_EQ(plain ? subscriber.await_link(&publisher.gate) : subscriber.link(), "link 0");
        EXPECT_TRUE(subscriber.is_linked());
        Msg_num num = 0;
        EXPECT_EQ(subscriber.delegate_link(&num, 1), VORN_ERR_ALREADY_CONNECTED_);
        EXPECT_EQ(subscriber.await_link_return(subscriber.async_link(1), nullptr), VORN_ERR_ALREADY_CONNECTED_);
        publisher.publish("one");
        EXPECT_EQ(subscriber.log.take(), "event one");
        EXPECT_EQ(publisher.event("ignored", 0), 0);
        EXPECT_EQ(subscriber.log.take(), "event ");

        subscriber.unlink();
        EXPECT_FALSE(subscriber.is_linked());
        EXPECT_EQ(publisher.log.take(), "unlink 0");
        subscriber.unlink();

        EXPECT_EQ(subscriber.link(), "link 0");
        plain ? publisher.unlink(subscriber.self()) : publisher.unlink_all_proxy();
        EXPECT_EQ(subscriber.log.take(), "unlink 0");
        EXPECT_FALSE(subscriber.is_linked());
        publisher.unlink(subscriber.self());
    }
    publisher.publish("late");
    EXPECT_EQ(subscriber.link(), "link 0");
    publisher.publish("last");
    EXPECT_EQ(subscriber.log.take(), "event last");
    EXPECT_TRUE(publisher.log.empty()) << "an end that the service asked for is not told to it";
}

TEST_F(Event, Refusal) {
    auto& publisher = make<Publisher>();
    auto& subscriber = make<Subscriber>();
    auto& proxy = make<Proxy>();
    auto& unknown = make<Subscriber>(proxy, Msg_code{99});
    publisher.decision = c_refusal;
    const Addr service = publisher.open();
    subscriber.connect(service);
    EXPECT_EQ(subscriber.link(), "link 77");
    EXPECT_EQ(subscriber.await_link(&publisher.gate), "link 77");
    EXPECT_FALSE(subscriber.is_linked());
    publisher.publish("x");
    publisher.decision = 0;
    EXPECT_EQ(subscriber.link(), "link 0");
    EXPECT_EQ(subscriber.stop(), 0);
    unknown.connect(service);
    EXPECT_EQ(unknown.link(), "link VORN_ERR_NOT_SUPPORT_CODE_");
}

TEST_F(Event, LossAndTheLinkAfterwards) {
    auto& publisher = make<Publisher>();
    auto& subscriber = make<Subscriber>();
    subscriber.connect(publisher.open());
    EXPECT_EQ(subscriber.link(), "link 0");
    subscriber.lose_connection();
    EXPECT_EQ(subscriber.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
    EXPECT_EQ(subscriber.log.take(), "disconnect");
    EXPECT_EQ(publisher.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
    EXPECT_EQ(publisher.log.take(), "disconnect");
    EXPECT_FALSE(subscriber.is_linked());
    publisher.publish("nobody");
    EXPECT_EQ(subscriber.link(), "link 0");
    publisher.publish("again");
    EXPECT_EQ(subscriber.log.take(), "event again");
}

TEST_F(Event, TwoClientsAtOnce) {
    auto& publisher = make<Publisher>();
    const Addr service = publisher.open();
    auto& subscriber = make<Subscriber>();
    subscriber.connect(service);
    EXPECT_EQ(subscriber.link(), "link 0");
    const Other_client first(service);
    Other_client second(service);
    // A payload of the request does not come back; a second link is no second place in the set.
    EXPECT_EQ(first.ask(EMsg::event_connect, c_code, "payload"), EMsg::event_confirm);
    EXPECT_EQ(first.ask(EMsg::delegate_event_connect, c_code), EMsg::delegate_event_confirm);
    EXPECT_EQ(second.ask(EMsg::event_connect, c_code), EMsg::event_confirm);
    publisher.publish("all");
    const Wire_message at_first = first.next();
    const Wire_message at_second = second.next();
    EXPECT_EQ(subscriber.log.take(), "event all");
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
    publisher.publish("rest");
    EXPECT_EQ(subscriber.log.take(), "event rest");
    EXPECT_FALSE(first.readable(0));
}

TEST_F(Event, AttachedMembersAndTheEndOfOne) {
    auto& stub = make<Serving<Stub>>();
    auto& publisher = make<Publisher>(stub, Msg_code{1});
    auto second = std::make_unique<Publisher>(stub, Msg_code{2});
    auto& proxy = make<Linking<Proxy_event>>(Msg_code{3});
    auto& subscriber = make<Subscriber>(proxy, Msg_code{1});
    auto other = std::make_unique<Subscriber>(proxy, Msg_code{2});
    proxy.connect(stub.open());
    EXPECT_EQ(subscriber.link(), "link 0");
    EXPECT_EQ(other->await_link(&second->gate), "link 0");
    EXPECT_EQ(proxy.link(), "link VORN_ERR_NOT_SUPPORT_CODE_");
    publisher.publish("1");
    second->publish("2");
    EXPECT_EQ(subscriber.log.take(), "event 1");
    EXPECT_EQ(other->log.take(), "event 2");
    // Stops the whole service, and with no word to anybody.
    second.reset();
    EXPECT_FALSE(stub.is_started());
    EXPECT_EQ(publisher.publish("gone"), VORN_ERR_IS_NOT_CREATED_);
    // Established connections stay; what was linked is not linked with the next start.
    EXPECT_TRUE(subscriber.is_linked());
    stub.open();
    EXPECT_EQ(publisher.publish("nobody"), 0);
    other.reset();
    EXPECT_FALSE(proxy.is_started());
    EXPECT_FALSE(subscriber.is_linked());
    EXPECT_TRUE(subscriber.log.empty());
    EXPECT_TRUE(publisher.log.empty());
}

}  // namespace
