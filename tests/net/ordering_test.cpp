// Which messages run at the same time, and what becomes of queues under their feet.

#include <atomic>

#include "net/support/kinds.h"

using namespace net;

namespace {

class Ordering : public Runtime {
protected:
    void SetUp() override {
        Runtime::SetUp();
        address = service.open();
    }
    Msg_addr key(Msg_code _code) const { return {address.port, _code, 1}; }
    /// Requests of these codes at once, numbered from 1; all are answered in the end.
    void ask(const Raw_client& _raw, std::initializer_list<Msg_code> _codes) {
        Bytes all;
        for (const Msg_code code : _codes) all = all + _raw.call(++num, {}, 0x30, code).bytes();
        _raw.send(all);
    }
    static void take_answers(const Raw_client& _raw, int _count) {
        for (int i = 0; i < _count; ++i) EXPECT_EQ(_raw.next().type, 0x31);
    }
    static std::size_t queued(Msg_addr _key) {
        const Exclusive_hold hold;
        class_thread_qbuffer& qbuffer = *gp_processor->qbuffer_map.at(_key);
        const std::lock_guard lock(qbuffer.m_lock);
        return qbuffer.size();
    }
    int keys_of(Msg_addr _key) {
        const Exclusive_hold hold;
        return gp_processor->qbuffer_map.contains(_key) ? gp_processor->qbuffer_map.at(_key)->m_ref : 0;
    }
    /// From now on handlers wait until so many of them run at once, or pass (1); `most` is how many ever did.
    void let_meet(int _together) {
        most = 0;
        for (Service* one : {&service, &one_more}) {
            one->handler = [this, _together](const Bytes&, Bytes*) {
                const int now = ++inside;
                for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
                }
                EXPECT_TRUE(eventually([this, _together] { return most >= _together; }));
                std::this_thread::yield();
                --inside;
                return 0;
            };
        }
    }

    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    Service& service = make<Service>();
    Service& one_more = make<Service>(service, Msg_code{8});  // a second code of the same service
    Addr address;
    std::uint16_t num = 0;
};

TEST_F(Ordering, CodesOfAServiceAreSerialEachAndSideBySide) {
    const Raw_client raw(address.port);
    raw.open();
    EXPECT_EQ(keys_of(key(c_code)), 1);
    EXPECT_EQ(keys_of(key(8)), 1);
    let_meet(2);
    ask(raw, {c_code, 8});
    take_answers(raw, 2);
}

TEST_F(Ordering, ParallelAndSerialAlone) {
    const Raw_client raw(address.port);
    raw.open();
    let_meet(1);
    ask(raw, {c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code});
    take_answers(raw, 12);
    EXPECT_EQ(most, 1);
    msg_processing_by_parallel(key(c_code));
    msg_processing_by_parallel(key(c_code));
    let_meet(8);
    ask(raw, {c_code, c_code, c_code, c_code, c_code, c_code, c_code, c_code});
    take_answers(raw, 8);
}

TEST_F(Ordering, GroupsGrowAndShrink) {
    const Raw_client raw(address.port);
    raw.open();
    msg_processing_by_parallel(key(8));
    msg_processing_by_serial_group(key(c_code), key(8));
    EXPECT_EQ(keys_of(key(c_code)), 2);
    let_meet(1);
    ask(raw, {c_code, 8, c_code, 8, 8, c_code, c_code, 8, 8, c_code});
    take_answers(raw, 10);
    EXPECT_EQ(most, 1);
    msg_processing_by_serial_group(key(8), key(c_code));  // as it is
    msg_processing_by_serial_group(key(9), key(8));
    EXPECT_EQ(keys_of(key(c_code)), 3);
    msg_processing_by_serial_alone(key(8));
    EXPECT_EQ(keys_of(key(c_code)), 2);
    EXPECT_EQ(keys_of(key(8)), 1);
    msg_processing_by_parallel(key(9));
    EXPECT_EQ(keys_of(key(c_code)), 1);
    let_meet(2);
    ask(raw, {c_code, 8});
    take_answers(raw, 2);
}

/// A queue loses its key, or moves, while a handler runs that it has to come back to.
TEST_F(Ordering, QueuesTakenAwayUnderTheirDrain) {
    const Raw_client raw(address.port);
    raw.open();
    struct Case {
        const char* what;
        std::function<void()> change;
        int lost;
    };
    const Case cases[] = {
        {"parallel", [&] { msg_processing_by_parallel(key(c_code)); }, 2},
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
    for (const Case& one : cases) {
        msg_processing_by_parallel(key(c_code));
        msg_processing_by_serial_alone(key(c_code));
        service.gate.close();
        std::atomic<bool> once{true};
        service.handler = [&](const Bytes&, Bytes*) {
            if (once.exchange(false)) {
                // `stop` within a handler would be deferred.
                std::thread([&] { one.change(); }).join();
            }
            return 0;
        };
        ask(raw, {c_code, c_code, c_code});
        ASSERT_TRUE(eventually([&] { return queued(key(c_code)) == 2; })) << one.what;
        service.gate.open();
        take_answers(raw, 3 - one.lost);
        ask(raw, {c_code});  // answered by the service, or with its absence
        EXPECT_EQ(raw.next().num, num) << one.what;
        while (!service.called.empty()) service.called.take();
    }
}

TEST_F(Ordering, DestroyedWithItsMessagesQueued) {
    auto doomed = std::make_unique<Service>();
    const Addr other = doomed->open();
    const Msg_addr doomed_key(other.port, c_code, 1);
    msg_processing_by_parallel(doomed_key);
    msg_processing_by_serial_group(key(c_code), doomed_key);
    const Raw_client raw(address.port);
    const Raw_client doomed_raw(other.port);
    raw.open();
    doomed_raw.open();
    doomed->connected.take();
    service.gate.close();
    ask(raw, {c_code});
    service.called.take();
    ask(doomed_raw, {c_code, c_code, c_code});
    ask(raw, {c_code});
    ASSERT_TRUE(eventually([&] { return queued(key(c_code)) == 4; }));
    doomed.reset();
    EXPECT_EQ(queued(key(c_code)), 1U);
    service.gate.open();
    take_answers(raw, 2);
    ask(doomed_raw, {c_code});
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
            const Raw_client raw(address.port);
            raw.open();
            service.handler = [&](const Bytes&, Bytes*) {
                EXPECT_EQ(doomed->stop(), 0);  // deferred: the old port keeps its keys
                doomed->open();
                doomed.reset();
                return 0;
            };
            ask(raw, {c_code});
            take_answers(raw, 1);
        }
        doomed.reset();
        EXPECT_EQ(all_keys(), before);
    }
}

/// The three declarations change while messages run under them.
TEST_F(Ordering, ChangedUnderTraffic) {
    const Raw_client raw(address.port);
    raw.open();
    // Queues may be emptied, so answers may be missing: the end is told by a call of a code left alone.
    std::atomic<bool> done{false};
    std::thread changer([&] {
        for (unsigned i = 0; !done; ++i) {
            const Msg_addr a = key(static_cast<Msg_code>(7 + i % 2));
            if (i % 3 == 0) msg_processing_by_parallel(a);
            if (i % 3 == 1) msg_processing_by_serial_alone(a);
            if (i % 3 == 2) msg_processing_by_serial_group(key(7), key(8));
        }
    });
    for (int round = 0; round < 200; ++round) {
        ask(raw, {7, 8, 7, 8, 8, 7, 99});
        while (raw.next().error != 0x80000003U) {
        }
    }
    done = true;
    changer.join();
    msg_processing_by_parallel(key(7));
    msg_processing_by_parallel(key(8));
    ask(raw, {7});
    while (raw.next().num != num) {
    }
}

}  // namespace
