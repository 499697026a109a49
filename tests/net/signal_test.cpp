// Signals: the answer first, the handler after it.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Signal : public Runtime {};

/// Set by the tests ahead of any signal: the function in front of the answer has no other way to know.
Gate g_gate;
std::atomic<Error> g_decision{0};

int in_front(Stub_signal*, Addr, void* _data, Pksize _size, double _elapsed, double _limit) {
    EXPECT_EQ(_data == nullptr, _size == 0);
    EXPECT_GE(_elapsed, 0);
    EXPECT_GT(_limit, 0);
    Addr nobody;
    EXPECT_EQ(get_address("nobody", &nobody), 0U) << "may be asked here, too";
    g_gate.pass();
    return g_decision;
}

class Server : public Serving<Stub_signal> {
public:
    explicit Server(const Stub& _stub) : Serving(c_code, _stub, in_front) { g_decision = 0; }

private:
    void on_signal(Addr, const void* _data, Pksize _size, double) override {
        log.put("signal " + bytes_of(_data, _size));
    }
    void on_signal_cancel(Addr, Error _error) override { log.put("cancel " + name_of(_error)); }
};

class Sender : public Calling<Proxy_signal> {
public:
    using Calling::Calling;
    Sender() : Calling(c_code) {}

    std::string send(const char* _text) {
        Msg_num num = 0;
        EXPECT_EQ(delegate_signal(&num, _text, static_cast<Pksize>(std::strlen(_text)), 20), 0);
        const auto [err, answered] = returned.take();
        EXPECT_EQ(answered, num);
        return name_of(err);
    }
    std::string send_and_wait(const char* _text) {
        g_gate.close();
        const Promise_ promise = async_signal(_text, static_cast<Pksize>(std::strlen(_text)), 20);
        std::thread decides([promise] {
            until_waited_for(promise);
            g_gate.open();
        });
        double turnaround = -1;
        const Error err = await_return(promise, &turnaround);
        decides.join();
        EXPECT_GE(turnaround, 0);
        return name_of(err);
    }

    Events<std::pair<Error, Msg_num>> returned;

private:
    void on_return(Msg_num _num, Error _err, double) override { returned.put({_err, _num}); }
};

TEST_F(Signal, BothFormsAndTheFunctionInFront) {
    auto& stub = make<Serving<Stub>>();
    auto& server = make<Server>(stub);
    auto& sender = make<Sender>();
    auto& unknown = make<Sender>(Msg_code{99}, sender);
    EXPECT_EQ(sender.signal("x", 1, 5, nullptr), VORN_ERR_IS_NOT_CREATED_);
    const Addr service = stub.open();
    sender.connect(service);
    EXPECT_EQ(sender.send("a"), "0");
    EXPECT_EQ(sender.send_and_wait("b"), "0");
    EXPECT_EQ(sender.send(""), "0");
    // A refusal tells the client, and the handler runs all the same.
    g_decision = c_refusal;
    EXPECT_EQ(sender.send("c"), "77");
    EXPECT_EQ(sender.send_and_wait("d"), "77");
    g_decision = 0;
    const Other_client other(service);
    EXPECT_EQ(other.ask(EMsg::signal, c_code, "e"), EMsg::signal_return);
    EXPECT_EQ(other.ask(EMsg::delegate_signal, c_code, "f"), EMsg::delegate_signal_return);
    for (const char* expected : {"a", "b", "", "c", "d", "e", "f"}) {
        EXPECT_EQ(server.log.take(), std::string("signal ") + expected);
    }
    // Dropped over there, ahead of what follows.
    EXPECT_EQ(sender.signal("x", 1, 0, nullptr), VORN_ERR_LOCAL_TIMEOUT_);
    sender.cancel(5);
    EXPECT_EQ(server.log.take(), "cancel 5");
    EXPECT_EQ(unknown.send("x"), "VORN_ERR_NOT_SUPPORT_CODE_");
    EXPECT_EQ(sender.await_return(nullptr, nullptr), VORN_ERR_NULL_RETURN_OBJECT_);
    EXPECT_TRUE(gp_processor->returns.empty());
}

TEST_F(Signal, LossEndsTheWaitAndTheNextConnectionServes) {
    auto& stub = make<Serving<Stub>>();
    auto& server = make<Server>(stub);
    auto& sender = make<Sender>();
    sender.connect(stub.open());
    g_gate.close();
    const Promise_ promise = sender.async_signal("x", 1, 20);
    const std::uint16_t port = sender.self().port;
    std::thread waits([&] { EXPECT_EQ(sender.await_return(promise, nullptr), VORN_ERR_DISCONNECTED_TCP_); });
    until_waited_for(promise);
    // Orders the look at the promise ahead of its end, which only the sockets do otherwise.
    { const std::lock_guard lock(gp_processor->return_map_mutex); }
    // Else it might come back undelivered, as a second answer, which is lost with its block.
    g_gate.until_reached();
    sender.lose_connection();
    waits.join();
    EXPECT_TRUE(eventually([&] { return !is_served(port); }));
    g_gate.open();
    EXPECT_EQ(sender.send("y"), "0");
    // The answer to "x" never left, so its handler did not run.
    EXPECT_EQ(server.log.take(), "signal y");
}

}  // namespace
