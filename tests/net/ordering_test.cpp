// Which messages run at the same time, and what becomes of queues that change during a drain.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Ordering : public Pair {
protected:
    void SetUp() override {
        Pair::SetUp();
        address = service.open();
        raw = std::make_unique<Other_client>(address);
    }
    void TearDown() override {
        raw.reset();
        Pair::TearDown();
    }
    Msg_addr key(Msg_code _code) const { return {address.port, _code, 1}; }
    /// Requests of these codes at once, numbered from 1.
    void ask(std::initializer_list<Msg_code> _codes) {
        Bytes all;
        for (const Msg_code code : _codes) all = all + raw->call(++num, {}, 0x30, code).bytes();
        raw->send(all);
    }
    void take_answers(int _count) const {
        for (int i = 0; i < _count; ++i) EXPECT_EQ(raw->next().type, 0x31);
    }
    static std::size_t queued(Msg_addr _key) {
        const Exclusive_hold hold;
        class_thread_qbuffer& qbuffer = *gp_processor->qbuffer_map.at(_key);
        const std::lock_guard lock(qbuffer.m_lock);
        return qbuffer.size();
    }
    /// How many keys share the queue of this one.
    static int keys_of(Msg_addr _key) {
        const Exclusive_hold hold;
        return gp_processor->qbuffer_map.contains(_key) ? gp_processor->qbuffer_map.at(_key)->m_ref : 0;
    }
    /// All of these run, each until so many did so at the same time; never more than that.
    void expect_together(int _together, std::initializer_list<Msg_code> _codes) {
        std::atomic<int> inside{0};
        std::atomic<int> most{0};
        for (Service* one : {&service, &one_more}) {
            one->handler = [&](const Bytes&, Bytes*) {
                const int now = ++inside;
                for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
                }
                EXPECT_TRUE(eventually([&] { return most >= _together; }));
                std::this_thread::yield();
                --inside;
                return 0;
            };
        }
        ask(_codes);
        take_answers(static_cast<int>(_codes.size()));
        EXPECT_EQ(most, _together);
    }

    Service& one_more = make<Service>(service, Msg_code{8});  // a second code of the same service
    std::unique_ptr<Other_client> raw;
    std::uint16_t num = 0;
};

TEST_F(Ordering, DeclarationsAndGroups) {
    EXPECT_EQ(keys_of(key(7)), 1);
    EXPECT_EQ(keys_of(key(8)), 1);
    expect_together(2, {7, 8});
    expect_together(1, {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7});
    msg_processing_by_parallel(key(7));
    msg_processing_by_parallel(key(7));
    expect_together(8, {7, 7, 7, 7, 7, 7, 7, 7});
    msg_processing_by_parallel(key(8));
    msg_processing_by_serial_group(key(7), key(8));
    EXPECT_EQ(keys_of(key(7)), 2);
    EXPECT_EQ(gp_processor->qbuffer_map.at(key(7)), gp_processor->qbuffer_map.at(key(8)));
    expect_together(1, {7, 8, 7, 8, 8, 7, 7, 8, 8, 7});
    msg_processing_by_serial_group(key(8), key(7));  // as it is
    msg_processing_by_serial_group(key(9), key(8));
    EXPECT_EQ(keys_of(key(7)), 3);
    msg_processing_by_serial_alone(key(8));
    EXPECT_EQ(keys_of(key(7)), 2);
    EXPECT_EQ(keys_of(key(8)), 1);
    msg_processing_by_parallel(key(9));
    EXPECT_EQ(keys_of(key(7)), 1);
    expect_together(2, {7, 8});
}

/// A queue loses its key, or moves, while a handler runs that it has to come back to.
TEST_F(Ordering, QueuesTakenAwayUnderTheirDrain) {
    const struct {
        const char* what;
        std::function<void()> change;
        int lost;
    } cases[] = {
        {"parallel and serial",
         [&] {
             msg_processing_by_parallel(key(c_code));
             msg_processing_by_serial_alone(key(c_code));
         },
         2},
        {"merged", [&] { msg_processing_by_serial_group(key(8), key(c_code)); }, 2},
        {"alone already", [&] { msg_processing_by_serial_alone(key(c_code)); }, 0},
        {"stopped", [&] { service.stop(); }, 2},
    };
    for (const auto& one : cases) {
        msg_processing_by_parallel(key(c_code));
        msg_processing_by_serial_alone(key(c_code));
        service.gate.close();
        std::atomic<bool> once{true};
        service.handler = [&](const Bytes&, Bytes*) {
            if (once.exchange(false)) std::thread([&] { one.change(); }).join();  // a handler's own `stop` is deferred
            return 0;
        };
        ask({c_code, c_code, c_code});
        ASSERT_TRUE(eventually([&] { return queued(key(c_code)) == 2; })) << one.what;
        service.gate.open();
        take_answers(3 - one.lost);
        ask({c_code});  // answered by the service, or with its absence
        EXPECT_EQ(raw->next().num, num) << one.what;
        service.called.take(service.called.size());
    }
}

TEST_F(Ordering, DestroyedWithItsMessagesQueued) {
    auto doomed = std::make_unique<Service>();
    const Addr other = doomed->open();
    const Msg_addr doomed_key(other.port, c_code, 1);
    msg_processing_by_parallel(doomed_key);
    msg_processing_by_serial_group(key(c_code), doomed_key);
    const Other_client doomed_raw(other);
    doomed->connected.take();
    service.gate.close();
    ask({c_code});
    service.called.take();
    for (std::uint16_t i = 101; i < 104; ++i) doomed_raw.send(doomed_raw.call(i, {}));
    ask({c_code});
    ASSERT_TRUE(eventually([&] { return queued(key(c_code)) == 4; }));
    doomed.reset();
    EXPECT_EQ(queued(key(c_code)), 1U);
    service.gate.open();
    take_answers(2);
    doomed_raw.send(doomed_raw.call(104, {}));
    EXPECT_EQ(doomed_raw.next().error, 0x80000002U);
}

/// Keys name a port and no host: a client of another host's service shares them with a local one.
TEST_F(Ordering, StoppedClientLeavesTheQueuesOfALocalService) {
    auto& events = make<Event_service>();
    const Addr here = events.open();
    const Other_client first(here);
    const Other_client second(here);
    events.gate.close();
    first.tell(EMsg::event_connect, c_code);
    events.gate.until_reached();
    second.tell(EMsg::event_connect, c_code);
    const Msg_addr links(here.port, c_code, 3);
    ASSERT_TRUE(eventually([&] { return queued(links) == 1; }));
    auto& elsewhere = make<Event_client>();
    EXPECT_EQ(elsewhere.start(Addr(Vorn35::inet_addr("127.0.0.2"), here.port)), 0);
    EXPECT_EQ(elsewhere.stop(), 0);
    EXPECT_EQ(keys_of(links), 1);
    events.gate.open();
    for (const Other_client* const one : {&first, &second}) EXPECT_EQ(one->next().type, 0x41);
}

/// The members of an integrated object go ahead of it.
TEST_F(Ordering, DestroyedWhileStarted) {
    const auto all_keys = [] {
        const Exclusive_hold hold;
        return gp_processor->qbuffer_map.size();
    };
    const std::size_t before = all_keys();
    for (const bool on_a_listener : {false, true}) {
        auto doomed = std::make_unique<Service>();
        doomed->open();
        EXPECT_GT(all_keys(), before);
        if (on_a_listener) {
            service.handler = [&](const Bytes&, Bytes*) {
                EXPECT_EQ(doomed->stop(), 0);  // deferred: the old port keeps its keys
                doomed->open();
                doomed.reset();
                return 0;
            };
            ask({c_code});
            take_answers(1);
        }
        doomed.reset();
        EXPECT_EQ(all_keys(), before);
    }
}

}  // namespace
