// Calls in all three ways and every outcome of them. That no outcome leaks a block, the fixture checks.

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Call : public Pair {};

TEST_F(Call, ThreeWaysOfAnySize) {
    auto& large = make<Service>(8U << 20);
    client.connect(large.open());
    for (const std::size_t size : {0UL, 1UL, 64UL << 10, 8UL << 20}) {
        const Bytes data = pattern(size);
        const Answer delegated = client.delegate_and_take(data);
        const Answer called = client.call(data);
        large.gate.close();
        Waiter waiter(client, client.ask(data), size);
        Waiter too_small(client, client.ask(data + Bytes{1}), size);
        large.gate.open();
        for (const Answer& answer : {delegated, called, waiter.answer()})
            EXPECT_TRUE(answer.err == 0 && answer.data == data) << size;
        const Answer cut = too_small.answer();
        EXPECT_EQ(cut.err, size == 8UL << 20 ? 0 : VORN_ERR_BOUNDOUT_BUFFER_) << "or the service has no more room";
        if (size != 0 && cut.err != 0) {
            EXPECT_EQ(cut.needed, size + 1);
        }
    }
    const Called request = large.called.take();
    EXPECT_TRUE(request.elapsed >= 0 && request.limit <= 20 && request.limit > 0);
    Answer inner;
    client.in_callback = [&] {
        client.in_callback = nullptr;
        inner = client.call(text("from a callback"));
    };
    client.delegate_and_take({});
    EXPECT_EQ(inner.data, text("from a callback"));
}

TEST_F(Call, HandlersThatFailOrClaimTooMuch) {
    auto small = std::make_unique<Service>(service, Msg_code{8});  // 64 bytes
    auto& second_of_its_code = make<Service>(service, Msg_code{8});
    auto& to_small = make<Client>(client, Msg_code{8});
    connect();
    EXPECT_EQ(to_small.delegate_and_take(Bytes(100)).data.size(), 64U);
    small->handler = [](const Bytes&, Bytes* _out_) { return _out_->clear(), 0; };
    EXPECT_EQ(to_small.delegate_and_take(Bytes(100)).data.size(), 0U);
    EXPECT_TRUE(second_of_its_code.called.empty());
    service.handler = [](const Bytes& _in, Bytes*) { return _in.empty() ? 5 : -5; };
    EXPECT_EQ(client.call({}).err, 5);
    EXPECT_EQ(client.delegate_and_take(text("data is dropped")).data, Bytes{});
    EXPECT_EQ(client.call(text("x")).err, -5);
    small.reset();
    EXPECT_FALSE(service.is_started()) << "the end of a member stops its service";
    EXPECT_EQ(client.delegate_and_take(text("x")).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
}

TEST_F(Call, LimitsAndLateAnswers) {
    connect();
    for (int i = 0; i < 65530; ++i) _Proxy::of(&client)->get_msg_num();  // the numbers wrap around below
    service.gate.close();
    for (const double limit : {0.0, -1.0, -c_no_limit, 1e-12, c_no_limit, 1e10, 9.3e9})
        EXPECT_EQ(client.wait(client.ask(text("x"), limit)).err, VORN_ERR_LOCAL_TIMEOUT_) << limit;
    double time = 0;
    EXPECT_EQ(client.await_return(client.ask(text("x"), 0.02), nullptr, nullptr, &time), VORN_ERR_LOCAL_TIMEOUT_);
    EXPECT_GE(time, 0.0199);
    service.gate.open();
    // Requests without a limit ran all the same, and with no time left they were dropped.
    service.called.take(3);
    client.delegate(text("never"), 0);
    client.delegate(text("never"), -3);
    client.delegate(text("ever"), c_no_limit);
    EXPECT_EQ(client.returned.take().data, text("ever"));
    Called last;
    while (last.data != text("ever")) last = service.called.take();
    EXPECT_GT(last.limit, 4290772992.0 - 25);
    EXPECT_TRUE(client.returned.empty() && service.cancelled.empty());
}

TEST_F(Call, ConnectionLostWhileWaiting) {
    Far_service far(client);
    client.delegate({});
    Waiter lost(client, client.ask(text("a")));
    Waiter answered(client, client.ask(text("b")));
    for (int i = 0; i < 2; ++i) far.connection.next();
    const Wire_message answer{0x31, c_code, far.connection.next().num, text("kept")};
    far.connection.send(answer);
    EXPECT_EQ(answered.answer().data, text("kept"));
    far.connection.reset();
    EXPECT_EQ(lost.answer().err, VORN_ERR_DISCONNECTED_TCP_);
    client.disconnected.take();
    EXPECT_FALSE(client.is_connected());
    EXPECT_TRUE(client.returned.empty()) << "a lost connection fires no on_return";
    Msg_num num = 9;
    EXPECT_EQ(client.wait(client.ask({})).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
    EXPECT_EQ(client.delegate_call(&num, nullptr, 0, 1), VORN_ERR_OBJECT_IS_NOT_EXIST_);
    EXPECT_EQ(num, 9);
    // The runtime connects again without being asked, and reports it once.
    const Raw_connection again = far.server.accept_open();
    client.connected.take();
    EXPECT_TRUE(client.disconnected.empty());
    // A second answer before the waiter has taken the first is lost with its blocks: a header and a payload.
    const Promise_ promise = client.ask({}, 0.01);
    for (const Wire_message twice{0x31, c_code, again.next().num, Bytes(100)}; lost_blocks < 2; ++lost_blocks) {
        again.send(twice);
        EXPECT_EQ(again.next().type, 0x34);
    }
    again.send(Wire_message{0x39, c_code, 1});  // by callback: all of them were read
    client.returned.take();
    EXPECT_EQ(client.wait(promise).err, VORN_ERR_LOCAL_TIMEOUT_);
}

TEST_F(Call, StoppedWhileOutstanding) {
    const Far_service far(client);
    const Promise_ not_yet_waited_for = client.ask(text("a"));
    Waiter waiting(client, client.ask(text("b"), 0.1));
    ASSERT_EQ(client.stop(), 0);
    EXPECT_EQ(client.wait(not_yet_waited_for).err, VORN_ERR_IS_NOT_CREATED_);
    EXPECT_EQ(waiting.answer().err, VORN_ERR_LOCAL_TIMEOUT_) << "a stop does not end the wait";
    // What was queued went out, and then the end of the stream, without a callback.
    for (const char* const sent : {"a", "b"}) EXPECT_EQ(far.connection.next().payload, text(sent));
    EXPECT_TRUE(far.connection.ends());
    EXPECT_TRUE(client.disconnected.empty());
}

TEST_F(Call, Cancels) {
    auto& large = make<Service>(8U << 20);
    large.answer_much(8 << 20);
    address = large.open();
    client.connect(address);
    large.gate.close();
    Waiter waiter(client, client.ask(text("x")));
    for (int i = 0; i < 2; ++i) client.cancel(-9);  // of number 0, which is no repeat
    large.gate.open();
    EXPECT_EQ(waiter.answer().data, text("x")) << "the request goes on, and so does the wait for it";
    for (int i = 0; i < 2; ++i) EXPECT_EQ(large.cancelled.take(), -9);
    // Returns that cannot be delivered: the first answer is stuck half-way, and the others behind it.
    for (const std::uint8_t type : {0x30, 0x38}) {
        Other_client reads_nothing(address, 4096);
        for (std::uint16_t num = 1; num <= 3; ++num) reads_nothing.send(reads_nothing.call(num, text("much"), type));
        ASSERT_TRUE(eventually([&] { return queued_for(reads_nothing.port()) >= 3; }));
        reads_nothing.reset();
        for (int i = 0; i < 3; ++i) EXPECT_EQ(large.cancelled.take(), VORN_ERR_NOT_CONNECTED_TCP_);
        large.disconnected.take();
    }
    EXPECT_TRUE(large.cancelled.empty());
}

TEST_F(Call, BytesOfAnySizeWithoutABuffer) {
    auto& functions = make<Stub_call_function>(
        c_code, [](const Call_request& _in) { return _in.text() == "fail" ? -5 : Call_result(_in.bytes); }, 100000);
    Proxy_call& plain = client;
    EXPECT_EQ(plain.call("", 1).error, VORN_ERR_IS_NOT_CREATED_);
    Port port = 0;
    ASSERT_EQ(functions.start(nullptr, &port), 0);
    client.connect({c_here, port});
    const std::pair<std::string, Error> cases[] = {
        {"", 0}, {std::string(100000, 'y'), 0}, {std::string(100001, 'z'), VORN_ERR_TOO_BIG_SIZE_}, {"fail", -5}};
    for (const auto& [input, error] : cases) {
        Call_result result(VORN_ERR_LOCAL_TIMEOUT_);
        for (double limit = 0.02; limit < 30 && result.error == VORN_ERR_LOCAL_TIMEOUT_; limit *= 1.5)
            result = plain.call(input, limit);
        EXPECT_EQ(result.error, error);
        EXPECT_TRUE(result.text() == (error == 0 ? input : "")) << result.bytes.size();
        EXPECT_GT(result.seconds, 0);
    }
}

}  // namespace
