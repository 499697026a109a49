// Commands: values from the clients, and what is kept of them at either end.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Command : public Runtime {};

class Acceptor : public Serving<Stub_command> {
public:
    explicit Acceptor(Msg_code _code = c_code) : Serving(_code) {}
    Acceptor(const Stub& _stub, Msg_code _code) : Serving(_code, _stub) {}
    std::string newest(Addr _client) {
        std::string buffer(64, '?');
        auto size = static_cast<Pksize>(buffer.size());
        const Error err = read(_client, buffer.data(), &size);
        return err == 0 ? buffer.substr(0, size) : name_of(err);
    }
    std::atomic<Sync_model> model{on_post};
    std::atomic<double> limit{0};
    std::function<void(Addr)> in_callback;

private:
    Error on_link(Addr, double, double) override { return decide(); }
    void on_unlink(Addr, Error _error) override { log.put("unlink " + name_of(_error)); }
    void on_sync(Addr _client, Sync_model _model, double _elapsed, double _limit, const void* _data,
                 const Pksize _size) override {
        EXPECT_GE(_elapsed, 0);
        model = _model;
        limit = _limit;
        if (in_callback) in_callback(_client);
        log.put(_size > 64 ? "large" : "value " + bytes_of(_data, _size));
    }
};

class Writer : public Linking<Proxy_command> {
public:
    explicit Writer(Msg_code _code = c_code) : Linking(_code) {}
    Writer(const Proxy& _proxy, Msg_code _code) : Linking(_code, _proxy) {}
    Error put(const std::string& _text) { return write(_text.data(), static_cast<Pksize>(_text.size())); }
    std::size_t kept() { return History(see_history(100)).size(); }
};

TEST_F(Command, BothFormsAndUnlinkFromBothEnds) {
    auto& acceptor = make<Acceptor>();
    auto& writer = make<Writer>();
    EXPECT_EQ(writer.put("x"), VORN_ERR_IS_NOT_CREATED_);
    writer.connect(acceptor.open());
    EXPECT_EQ(writer.put("unlinked"), 0);
    EXPECT_EQ(writer.kept(), 0U);
    for (const bool plain : {false, true}) {
        acceptor.decision = c_refusal;
        EXPECT_EQ(plain ? writer.await_link(&acceptor.gate) : writer.link(), "link 77");
        EXPECT_FALSE(writer.is_linked());
        acceptor.decision = 0;
        EXPECT_EQ(plain ? writer.await_link(&acceptor.gate) : writer.link(), "link 0");
        EXPECT_EQ(writer.await_link_return(writer.async_link(1), nullptr), VORN_ERR_ALREADY_CONNECTED_);
        EXPECT_EQ(acceptor.newest(writer.self()), "VORN_ERR_EMPTY_HISTORY_");
        EXPECT_EQ(writer.put("one"), 0);
        EXPECT_EQ(acceptor.log.take(), "value one");
        EXPECT_EQ(acceptor.model, on_post);
        EXPECT_EQ(acceptor.limit, c_endless);
        EXPECT_EQ(acceptor.newest(writer.self()), "one");

        writer.unlink();
        EXPECT_EQ(acceptor.log.take(), "unlink 0");
        EXPECT_EQ(acceptor.newest(writer.self()), "VORN_ERR_EMPTY_HISTORY_");
        EXPECT_EQ(writer.kept(), 1U) << "the client's history outlives its link";
        EXPECT_EQ(writer.link(), "link 0");
        EXPECT_EQ(writer.put(""), 0);
        EXPECT_EQ(acceptor.log.take(), "value ");
        plain ? acceptor.unlink(writer.self()) : acceptor.unlink_all_proxy();
        EXPECT_EQ(writer.log.take(), "unlink 0");
    }
    EXPECT_EQ(writer.put("late"), 0);
    EXPECT_EQ(writer.link(), "link 0");
    EXPECT_TRUE(acceptor.log.empty());
}

TEST_F(Command, LossAndTheLinkAfterwards) {
    auto& acceptor = make<Acceptor>();
    auto& writer = make<Writer>();
    writer.connect(acceptor.open());
    EXPECT_EQ(writer.link(), "link 0");
    writer.put("old");
    EXPECT_EQ(acceptor.log.take(), "value old");
    writer.lose_connection();
    for (Log* log : {&writer.log, &acceptor.log}) {
        EXPECT_EQ(log->take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
        EXPECT_EQ(log->take(), "disconnect");
    }
    lost_blocks = 2;  // of "old", at the service: this end of a link does not give them back
    writer.put("lost");
    char buffer[8];
    Pksize size = sizeof buffer;
    EXPECT_EQ(writer.read(buffer, &size), 0);
    EXPECT_EQ(bytes_of(buffer, size), "old");
    EXPECT_EQ(writer.link(), "link 0");
    writer.put("new");
    EXPECT_EQ(acceptor.log.take(), "value new");
}

TEST_F(Command, TwoClientsAndTheirHistories) {
    auto& acceptor = make<Acceptor>();
    const Addr service = acceptor.open();
    auto& writer = make<Writer>();
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
    ASSERT_EQ(history.size(), 3U);
    for (unsigned int i = 0; i < 3; ++i) EXPECT_EQ(bytes_of(history[i].buffer_, 1), std::string(1, "edc"[i]));
    // A link that is asked for again keeps the history.
    EXPECT_EQ(other.ask(EMsg::delegate_command_connect, c_code), EMsg::delegate_command_confirm);
    EXPECT_EQ(acceptor.newest(other.self()), "e");
    EXPECT_EQ(History(acceptor.see_history(Addr(c_here, 1), 1)).size(), 0U);
    acceptor.set_sync(false);
    other.tell(EMsg::command_tcp, c_code, "f");
    EXPECT_TRUE(eventually([&] { return acceptor.newest(other.self()) == "f"; }));
    EXPECT_EQ(acceptor.newest(writer.self()), "w");

    other.tell(EMsg::command_shutdown, c_code);
    EXPECT_EQ(acceptor.log.take(), "unlink 0");
    other.tell(EMsg::command_shutdown, c_code);
    EXPECT_EQ(acceptor.log.take(), "unlink 0");
    EXPECT_EQ(acceptor.stop(), 0);
    EXPECT_EQ(acceptor.see_history(writer.self(), 1), nullptr);
    EXPECT_EQ(acceptor.newest(writer.self()), "VORN_ERR_IS_NOT_CREATED_");
    EXPECT_EQ(bytes_of(history[2].buffer_, history[2].size), "c");
}

TEST_F(Command, HandlerMayCallEverythingWhileTheServiceIsStopped) {
    auto& acceptor = make<Acceptor>();
    auto& writer = make<Writer>();
    writer.connect(acceptor.open());
    EXPECT_EQ(writer.link(), "link 0");
    std::atomic<bool> stopped{false};
    acceptor.in_callback = [&](Addr _client) {
        EXPECT_EQ(acceptor.newest(_client), "x");
        std::thread stops([&] {
            EXPECT_EQ(acceptor.stop(), 0);
            stopped = true;
        });
        stops.join();
        acceptor.set_sync(true);
        acceptor.unlink(_client);
        EXPECT_FALSE(acceptor.is_started());
    };
    writer.put("x");
    EXPECT_EQ(acceptor.log.take(), "value x");
    EXPECT_TRUE(stopped);
}

TEST_F(Command, LargeValuesAndTheWriteBufferOfAttachedMembers) {
    auto& acceptor = make<Acceptor>(make<Stub>(), c_code);
    auto& proxy = make<Proxy>();
    auto& writer = make<Writer>(proxy, c_code);
    writer.connect(acceptor.open());
    EXPECT_EQ(writer.link(), "link 0");
    std::string huge(8 << 20, '\0');
    for (std::size_t i = 0; i < huge.size(); ++i) huge[i] = static_cast<char>(i * 5 ^ i >> 9);
    acceptor.in_callback = [&](Addr _client) {
        const History history = acceptor.see_history(_client, 1);
        EXPECT_TRUE(bytes_of(history[0].buffer_, history[0].size) == huge);
    };
    writer.put(huge);
    EXPECT_EQ(acceptor.log.take(), "large");
    acceptor.in_callback = nullptr;

    EXPECT_EQ(writer.post(1), VORN_ERR_DONT_GET_);
    void* const block = writer.get(8);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(writer.post(9), VORN_ERR_TOO_BIG_SIZE_);
    std::memcpy(block, "part", 4);
    EXPECT_EQ(writer.post(4), 0);
    EXPECT_EQ(acceptor.log.take(), "value part");
    ASSERT_NE(writer.get(1), nullptr);
    std::thread waits([&] { EXPECT_EQ(writer.get(4), nullptr); });
    EXPECT_EQ(proxy.stop(), 0);
    waits.join();
    EXPECT_EQ(writer.kept(), 0U);
    EXPECT_EQ(acceptor.log.take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
    lost_blocks = 2;
}

TEST_F(Command, Timer) {
    auto& acceptor = make<Acceptor>();
    auto writer = std::make_unique<Writer>();
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
