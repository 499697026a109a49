// Signals: the answer first, the handler after it.

#include "Vorn/options.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

class Signal : public Runtime {};

/// The function ahead of the answer gets no object of ours. It waits at the gate.
Gate g_gate;
std::atomic<Error> g_decision{0};

int in_front(Stub_signal*, Addr, void* _data, Pksize _size, double _elapsed, double _limit) {
    EXPECT_TRUE((_data == nullptr) == (_size == 0) && _elapsed >= 0 && _limit > 0);
    g_gate.pass();
    return g_decision;
}

struct Server : Serving<Stub_signal> {
    explicit Server(const Stub& _stub) : Serving(c_code, _stub, in_front) {}
    void on_signal(Addr, const void* _data, Pksize _size, double) override {
        log.put("signal " + bytes_of(_data, _size));
    }
    void on_signal_cancel(Addr, Error _error) override { log.put("cancel " + name_of(_error)); }
};

struct Sender : Calling<Proxy_signal> {
    using Calling::Calling;
    std::string send(const std::string& _text) {
        Msg_num num = 0;
        EXPECT_EQ(delegate_signal(&num, _text.data(), static_cast<Pksize>(_text.size()), 20), 0);
        return log.take();
    }
    std::string send_and_wait(const std::string& _text) {
        g_gate.close();
        return decided(&g_gate, async_signal(_text.data(), static_cast<Pksize>(_text.size()), 20),
                       [this](Promise_ _promise, double* _time_) { return await_return(_promise, _time_); });
    }
    void on_return(Msg_num, Error _err, double) override { log.put(name_of(_err)); }
};

TEST_F(Signal, BothFormsAndTheFunctionInFront) {
    auto& stub = make<Serving<Stub>>();
    auto& server = make<Server>(stub);
    auto& sender = make<Sender>(c_code);
    auto& unknown = make<Sender>(Msg_code{99}, sender);
    EXPECT_EQ(sender.signal("x", 1, 5, nullptr), VORN_ERR_IS_NOT_CREATED_);
    const Addr service = stub.open();
    sender.connect(service);
    EXPECT_EQ(sender.send("a"), "0");
    EXPECT_EQ(sender.send_and_wait(""), "0");
    // A refusal goes to the client, and the handler runs all the same.
    g_decision = c_refusal;
    EXPECT_EQ(sender.send("b"), "77");
    EXPECT_EQ(sender.send_and_wait("c"), "77");
    g_decision = 0;
    const Other_client other(service);
    EXPECT_EQ(other.ask(EMsg::signal, c_code, "d"), EMsg::signal_return);
    EXPECT_EQ(other.ask(EMsg::delegate_signal, c_code, "e"), EMsg::delegate_signal_return);
    EXPECT_EQ(server.log.lines(6), "signal a, signal , signal b, signal c, signal d, signal e");
    // Dropped over there; in the reliable profile its answer may be here before the wait begins.
    const Error late = sender.signal("x", 1, 0, nullptr);
    EXPECT_TRUE(late == VORN_ERR_LOCAL_TIMEOUT_ || (g_options.exact_waits && late == VORN_ERR_REMOTE_TIMEOUT_)) << late;
    sender.cancel(5);
    EXPECT_EQ(server.log.take(), "cancel 5");
    EXPECT_EQ(unknown.send("x"), "VORN_ERR_NOT_SUPPORT_CODE_");
    EXPECT_EQ(sender.await_return(nullptr, nullptr), VORN_ERR_NULL_RETURN_OBJECT_);
    EXPECT_TRUE(gp_processor->returns.empty());
}

TEST_F(Signal, LossEndsTheWaitAndTheNextConnectionServes) {
    auto& stub = make<Serving<Stub>>();
    auto& server = make<Server>(stub);
    auto& sender = make<Sender>(c_code);
    sender.connect(stub.open());
    g_gate.close();
    const Promise_ promise = sender.async_signal("x", 1, 20);
    const std::uint16_t port = sender.self().port;
    std::thread waits([&] { EXPECT_EQ(sender.await_return(promise, nullptr), VORN_ERR_DISCONNECTED_TCP_); });
    until_waited_for(promise);
    // Else it might come back undelivered, as a second answer, which is lost with its block.
    g_gate.until_reached();
    sender.lose_connection();
    waits.join();
    EXPECT_TRUE(eventually([&] { return !is_served(port); }));
    g_gate.open();
    EXPECT_EQ(sender.log.take(), "disconnect");
    EXPECT_EQ(sender.send("y"), "0");
    EXPECT_EQ(server.log.take(), "signal y") << "the answer to x never left, so its handler did not run";
}

}  // namespace
