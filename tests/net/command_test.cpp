// Commands: values from the clients, and what is kept of them at either end.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Command : public Runtime {};

TEST_F(Command, TwoClientsAndTheirHistories) {
    auto& acceptor = make<Command_service>();
    const Addr service = acceptor.open();
    auto& writer = make<Command_client>();
    writer.connect(service);
    EXPECT_EQ(writer.link(), "link 0");
    Other_client other(service);
    acceptor.set_history_size(3);
    other.tell(EMsg::command_tcp, c_code, "unlinked");
    // The value was taken ahead of the request that is answered here; who then has the lock finds it handled.
    EXPECT_EQ(other.ask(EMsg::command_connect, 99), EMsg::command_reject);
    { const Exclusive_hold handled; }
    EXPECT_EQ(other.ask(EMsg::command_connect, c_code, "payload"), EMsg::command_confirm);
    for (const char* text : {"a", "b", "c", "d", "e"}) {
        other.tell(*text == 'e' ? EMsg::command_udp : EMsg::command_tcp, c_code, text);
        EXPECT_EQ(acceptor.log.take(), std::string("value ") + text);
        writer.put("w");
        EXPECT_EQ(acceptor.log.take(), "value w");
    }
    History history = acceptor.see_history(other.self(), 10);
    EXPECT_EQ(joined(history), "e,d,c,");
    // A link that is asked for again keeps the history.
    EXPECT_EQ(other.ask(EMsg::delegate_command_connect, c_code), EMsg::delegate_command_confirm);
    EXPECT_EQ(acceptor.newest(other.self()), "e");
    EXPECT_EQ(joined(acceptor.see_history(Addr(c_here, 1), 1)), "");
    acceptor.set_sync(false);
    other.tell(EMsg::command_tcp, c_code, "f");
    EXPECT_TRUE(eventually([&] { return acceptor.newest(other.self()) == "f"; }));
    EXPECT_EQ(acceptor.newest(writer.self()), "w");
    for (int i = 0; i < 2; ++i) {
        other.tell(EMsg::command_shutdown, c_code);
        EXPECT_EQ(acceptor.log.take(), "unlink 0");
    }
    EXPECT_EQ(acceptor.stop(), 0);
    EXPECT_EQ(acceptor.see_history(writer.self(), 1), nullptr);
    EXPECT_EQ(acceptor.newest(writer.self()), "VORN_ERR_IS_NOT_CREATED_");
    EXPECT_EQ(joined(history), "e,d,c,");
}

TEST_F(Command, HandlerMayCallEverythingWhileTheServiceIsStopped) {
    auto& acceptor = make<Command_service>();
    auto& writer = make<Command_client>();
    writer.connect(acceptor.open());
    EXPECT_EQ(writer.link(), "link 0");
    acceptor.in_callback = [&](Addr _client) {
        EXPECT_EQ(acceptor.newest(_client), "x");
        std::thread([&] { EXPECT_EQ(acceptor.stop(), 0); }).join();
        acceptor.set_sync(true);
        acceptor.unlink(_client);
        EXPECT_FALSE(acceptor.is_started());
    };
    writer.put("x");
    EXPECT_EQ(acceptor.log.take(), "value x");
}

/// Values run in parallel here; three wait behind the `on_sync` of the first.
TEST_F(Command, EndOfALinkWaitsForOnSync) {
    for (const bool is_lost : {false, true}) {
        auto& acceptor = make<Command_service>();
        acceptor.set_history_size(9);
        const Addr service = acceptor.open();
        msg_processing_by_parallel(Msg_addr(service.port, c_code, 4));
        Other_client writer(service);
        const Addr self = writer.self();
        for (const bool ends : {false, true}) {
            EXPECT_EQ(writer.ask(EMsg::command_connect, c_code), EMsg::command_confirm);
            Gate gate;
            gate.close();
            acceptor.in_callback = [&](Addr) { gate.pass(); };
            writer.tell(EMsg::command_tcp, c_code, "first");
            gate.until_reached();
            for (const char* const text : {"a", "b", "c"}) writer.tell(EMsg::command_tcp, c_code, text);
            const auto values = [&] { return History(acceptor.see_history(self, 9)).size(); };
            ASSERT_TRUE(eventually([&] { return values() == 4; }));
            const std::string history = joined(acceptor.see_history(self, 9));
            if (!ends) {
                gate.open();
                EXPECT_EQ(acceptor.log.take(), "value first");
                std::string told;
                for (int i = 0; i < 3; ++i) told = acceptor.log.take().substr(std::strlen("value ")) + "," + told;
                EXPECT_EQ(told + "first,", history);
                writer.tell(EMsg::command_shutdown, c_code);
                EXPECT_EQ(acceptor.log.take(), "unlink 0");
                continue;
            }
            std::thread unlinks([&] {
                if (is_lost) {
                    writer.reset();
                } else {
                    acceptor.unlink(self);
                    acceptor.log.put("unlinked");
                }
            });
            // Ended, and yet not told: time for whoever does not wait.
            EXPECT_TRUE(eventually([&] { return values() == 0; }));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            gate.open();
            unlinks.join();
            EXPECT_EQ(acceptor.log.take(), "value first");
            EXPECT_EQ(acceptor.log.take(), is_lost ? "unlink VORN_ERR_DISCONNECTED_TCP_" : "unlinked");
            if (is_lost) {
                EXPECT_EQ(acceptor.log.take(), "disconnect");
            }
            acceptor.stop();
            EXPECT_TRUE(acceptor.log.empty());
        }
    }
    lost_blocks = 8;
}

TEST_F(Command, HistoriesAndTheWriteBufferOfAttachedMembers) {
    auto& acceptor = make<Command_service>(c_code, make<Stub>());
    auto& proxy = make<Proxy>();
    auto& writer = make<Command_client>(c_code, proxy);
    writer.connect(acceptor.open());
    writer.put("unlinked");
    EXPECT_EQ(writer.kept(), 0U);
    EXPECT_EQ(writer.link(), "link 0");
    const std::string huge = pattern<std::string>(8 << 20);
    acceptor.in_callback = [&](Addr _client) { EXPECT_TRUE(joined(acceptor.see_history(_client, 1)) == huge + ","); };
    writer.put(huge);
    EXPECT_EQ(acceptor.log.take(), "value of 8388608");
    EXPECT_EQ(acceptor.model, on_post);
    EXPECT_EQ(acceptor.limit, c_endless);
    acceptor.in_callback = nullptr;
    writer.unlink();
    EXPECT_EQ(acceptor.log.take(), "unlink 0");
    EXPECT_EQ(writer.kept(), 1U) << "the client's history outlives its link";
    EXPECT_EQ(writer.link(), "link 0");

    EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
    void* const block = writer.get(8);
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "part", 4);
    EXPECT_EQ(writer.post(4), 0);
    EXPECT_EQ(acceptor.log.take(), "value part");
    EXPECT_EQ(newest_of([&](void* _buffer, Pksize* _size) { return writer.read(_buffer, _size); }), "part");
    ASSERT_NE(writer.get(1), nullptr);
    std::thread waits([&] { EXPECT_EQ(writer.get(4), nullptr); });
    EXPECT_EQ(proxy.stop(), 0);
    waits.join();
    EXPECT_EQ(writer.kept(), 0U);
    EXPECT_EQ(acceptor.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
    lost_blocks = 2;
}

TEST_F(Command, Timer) {
    auto& acceptor = make<Command_service>();
    auto writer = std::make_unique<Command_client>();
    std::atomic<bool> destroy{false};
    acceptor.in_callback = [&](Addr) {
        if (destroy.exchange(false)) writer.reset();
    };
    writer->set_sync_model(false, on_timer, 0.01);
    writer->set_history_size(4);
    writer->connect(acceptor.open());
    EXPECT_EQ(writer->put("beat"), 0);
    EXPECT_EQ(writer->link(), "link 0");
    const auto begin = std::chrono::steady_clock::now();
    for (int beat = 0; beat < 6; ++beat) EXPECT_EQ(acceptor.log.take(), "value beat");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(40));
    EXPECT_EQ(acceptor.model, on_timer);
    EXPECT_LE(acceptor.limit, 0.0101);
    EXPECT_EQ(writer->kept(), 4U);
    // Destroyed with the timer in full beat, in a callback of the other end.
    writer->set_sync_model(true, on_timer, 0.0005);
    destroy = true;
    EXPECT_TRUE(eventually([&] { return acceptor.log.take() == "disconnect"; }));
    EXPECT_EQ(writer, nullptr);
    lost_blocks = 2;
}

}  // namespace
