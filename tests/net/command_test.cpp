// Commands: values from the clients, and what is kept of them at either end. What they share with information is there.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Command : public Runtime {
protected:
    Command_service& acceptor = make<Command_service>();
    Command_client& writer = make<Command_client>();
    const Ends<Command_service, Command_client> ends{acceptor, writer};
};

TEST_F(Command, TwoClientsAndTheirHistories) {
    const Addr service = acceptor.open();
    writer.connect(service);
    writer.put("unlinked");
    EXPECT_EQ(writer.kept(), 0U);
    EXPECT_EQ(writer.link(), "link 0");
    Other_client other(service);
    acceptor.set_history_size(3);
    other.tell(EMsg::command_tcp, c_code, "unlinked");
    // The value was taken ahead of the request that is answered here; who then has the lock finds it handled.
    EXPECT_EQ(other.ask(EMsg::command_connect, 99), EMsg::command_reject);
    { const Exclusive_hold handled; }
    EXPECT_EQ(other.ask(EMsg::command_connect, c_code, "payload"), EMsg::command_confirm);
    for (const char* text : {"a", "b", "c", "d"}) {
        other.tell(*text == 'd' ? EMsg::command_udp : EMsg::command_tcp, c_code, text);
        EXPECT_EQ(acceptor.log.take(), std::string("value ") + text);
        ends.pass("w");
    }
    const History history = acceptor.see_history(other.self(), 10);
    EXPECT_EQ(other.ask(EMsg::delegate_command_connect, c_code), EMsg::delegate_command_confirm) << "keeps the history";
    EXPECT_EQ(joined(acceptor.see_history(Addr(c_here, 1), 1)), "");
    acceptor.set_sync(false);
    other.tell(EMsg::command_tcp, c_code, "f");
    EXPECT_TRUE(eventually([&] { return joined(acceptor.see_history(other.self(), 10)) == "f,d,c,"; }));
    EXPECT_EQ(acceptor.newest(writer.self()), "w");
    for (int i = 0; i < 2; ++i) {
        other.tell(EMsg::command_shutdown, c_code);
        EXPECT_EQ(acceptor.log.take(), "unlink 0");
    }
    writer.unlink();
    EXPECT_EQ(acceptor.log.take(), "unlink 0");
    EXPECT_EQ(writer.kept(), 1U) << "the client's history outlives its link";
    EXPECT_EQ(acceptor.stop(), 0);
    EXPECT_EQ(acceptor.newest(writer.self()), "VORN_ERR_IS_NOT_CREATED_");
    EXPECT_EQ(writer.stop(), 0);
    EXPECT_EQ(writer.kept(), 0U);
    EXPECT_EQ(joined(history), "d,c,b,");
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

}  // namespace
