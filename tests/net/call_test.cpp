// Calls in all three ways and every outcome of them.

#include "Vorn/SDK/Proxy/_Proxy.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Call : public Runtime {
protected:
    /// A service and its client, connected.
    struct Pair {
        Service& service;
        Client& client;
        Addr address;
    };
    template <class... Arguments>
    Pair pair(Arguments&&... _arguments) {
        auto& service = make<Service>(std::forward<Arguments>(_arguments)...);
        auto& client = make<Client>();
        const Addr address = service.open();
        client.connect(address);
        return {service, client, address};
    }
};

TEST_F(Call, ThreeWaysOfAnySize) {
    const auto [service, client, address] = pair(Service::Handler{}, 8U << 20);
    for (const std::size_t size : {0UL, 1UL, 64UL << 10, 8UL << 20}) {
        const Bytes data = pattern(size);
        const Answer delegated = client.delegate_and_take(data);
        const Answer called = client.call(data);
        service.gate.close();
        Waiter waiter(client, client.ask(data), size + 1);
        service.gate.open();
        for (const Answer& answer : {delegated, called, waiter.answer()}) {
            EXPECT_EQ(answer.err, 0) << size;
            EXPECT_TRUE(answer.data == data) << size;
        }
    }
    const Called request = service.called.take();
    EXPECT_TRUE(request.elapsed >= 0 && request.limit <= 20 && request.limit > 0);
}

TEST_F(Call, SeveralOutstandingAreToldApart) {
    const auto [service, client, address] = pair();
    service.gate.close();
    std::vector<std::unique_ptr<Waiter>> waiters;
    std::map<Msg_num, Bytes> delegated;
    for (std::uint8_t i = 0; i < 6; ++i) {
        waiters.push_back(std::make_unique<Waiter>(client, client.ask(Bytes{i})));
        const Bytes data{i, i};
        delegated[client.delegate(data)] = data;
    }
    EXPECT_EQ(delegated.begin()->first, 2) << "numbers count up from 1 over all requests of the client";
    EXPECT_EQ(delegated.rbegin()->first, 12);
    service.gate.open();
    for (std::uint8_t i = 0; i < 6; ++i) EXPECT_EQ(waiters[i]->answer().data, Bytes{i});
    for (int i = 0; i < 6; ++i) {
        const Answer answer = client.returned.take();
        EXPECT_EQ(answer.data, delegated.at(answer.num));
        delegated.erase(answer.num);
    }
}

TEST_F(Call, NumbersWrapOver) {
    const auto [service, client, address] = pair();
    for (int i = 0; i < 65535; ++i) _Proxy::of(&client)->get_msg_num();
    for (const Msg_num expected : {0, 1, 2}) EXPECT_EQ(client.delegate_and_take({}).num, expected);
}

TEST_F(Call, ErrorOfTheHandler) {
    const auto [service, client, address] = pair([](const Bytes& _in, Bytes*) { return _in.empty() ? 5 : -5; });
    EXPECT_EQ(client.call({}).err, 5);
    EXPECT_EQ(client.call(text("x")).err, -5);
    const Answer answer = client.delegate_and_take(text("data is dropped"));
    EXPECT_EQ(answer.err, -5);
    EXPECT_TRUE(answer.data.empty());
}

/// `await_return` with just these arguments, when the answer comes while the wait lasts.
struct Buffers {
    bool with_buffer, with_size;
    Pksize capacity, answer;
    Error expected;
    Pksize expected_size;
};
TEST_F(Call, BuffersOfEveryShape) {
    const auto [service, client, address] = pair();
    for (const Buffers& one : {Buffers{true, true, 10, 10, 0, 10},
                               {true, true, 9, 10, VORN_ERR_BOUNDOUT_BUFFER_, 10},
                               {true, true, 0, 10, VORN_ERR_BOUNDOUT_BUFFER_, 10},
                               {false, true, 10, 10, VORN_ERR_BOUNDOUT_BUFFER_, 10},
                               {true, false, 99, 10, VORN_ERR_BOUNDOUT_BUFFER_, 99},
                               {true, true, 99, 0, 0, 0},
                               {false, true, 99, 0, 0, 0},
                               {false, false, 99, 0, 0, 99}}) {
        service.gate.close();
        const Promise_ promise = client.ask(pattern(one.answer));
        Bytes buffer(16, 0xCC);
        Pksize size = one.capacity;
        double time = -1;
        Error err = -1;
        std::thread waiting([&, &client = client] {
            err = client.await_return(promise, one.with_buffer ? buffer.data() : nullptr,
                                      one.with_size ? &size : nullptr, &time);
        });
        until_waited_for(promise);
        service.gate.open();
        waiting.join();
        EXPECT_EQ(err, one.expected) << one.capacity << ' ' << one.answer;
        // A null buffer with room enough leaves the size alone; the caller has learnt nothing it could use.
        EXPECT_TRUE(size == one.expected_size || (!one.with_buffer && one.answer != 0));
        EXPECT_GE(time, 0);
        const Bytes written = err == 0 ? pattern(one.answer) : Bytes{};
        EXPECT_EQ(buffer, written + Bytes(16 - written.size(), 0xCC));
    }
}

/// A handler that says more than it has room for, or nothing at all.
struct Liar : Stub_call {
    Liar(Pksize _capacity, bool _more) : Stub_call(c_code, _capacity), more(_more) {}
    Error on_call(Addr, const void*, Pksize, void*, Pksize* _size_, double, double) override {
        *_size_ = more ? *_size_ + 1000 : 0;
        return 0;
    }
    const bool more;
};
TEST_F(Call, NoHeaderLiesAboutWhatFollowsIt) {
    for (const Pksize capacity : {0U, 10U}) {
        for (const bool more : {false, true}) {
            auto& liar = make<Liar>(capacity, more);
            Port port = 0;
            ASSERT_EQ(liar.start(nullptr, &port), 0);
            auto& client = make<Client>();
            client.connect({c_here, port});
            for (const Bytes& request : {Bytes{}, text("x")}) {
                const Answer answer = client.delegate_and_take(request);
                EXPECT_EQ(answer.err, 0);
                EXPECT_EQ(answer.data.size(), more ? capacity : 0);
            }
        }
    }
}

TEST_F(Call, LimitsThatEndAtOnce) {
    const auto [service, client, address] = pair();
    service.gate.close();
    for (const double limit : {0.0, -1.0, -c_no_limit, 1e-12, c_no_limit, 1e10, 9.3e9}) {
        EXPECT_EQ(client.wait(client.ask(text("x"), limit)).err, VORN_ERR_LOCAL_TIMEOUT_) << limit;
    }
    service.gate.open();
    // Those without a limit were all run; those that had none left were dropped.
    service.called.take(3);
    EXPECT_EQ(client.delegate_and_take(text("y")).data, text("y"));
    EXPECT_EQ(service.called.take().data, text("y"));
    // A delegate call may go without a limit, and one with no time is dropped.
    client.delegate(text("never"), 0);
    client.delegate(text("never"), -3);
    client.delegate(text("ever"), c_no_limit);
    EXPECT_EQ(client.returned.take().data, text("ever"));
    EXPECT_GT(service.called.take().limit, 4290772992.0 - 25);
    EXPECT_TRUE(client.returned.empty());
}

TEST_F(Call, LateAnswerGoesNowhere) {
    const auto [service, client, address] = pair();
    service.gate.close();
    double time = 0;
    EXPECT_EQ(client.await_return(client.ask(text("x"), 0.02), nullptr, nullptr, &time), VORN_ERR_LOCAL_TIMEOUT_);
    EXPECT_GE(time, 0.0199);
    service.called.take();
    service.gate.open();
    EXPECT_EQ(client.call(text("y")).data, text("y"));
    EXPECT_TRUE(service.cancelled.empty());
}

TEST_F(Call, HandlesOfRequestsThatWereNeverSent) {
    auto& client = make<Client>();
    Msg_num num = 9;
    EXPECT_EQ(client.wait(client.ask({})).err, VORN_ERR_IS_NOT_CREATED_);
    EXPECT_EQ(client.delegate_call(&num, nullptr, 0, 1), VORN_ERR_IS_NOT_CREATED_);
    const Raw_server nobody_answers;
    ASSERT_EQ(client.start({c_here, nobody_answers.port()}), 0);
    EXPECT_TRUE(client.is_started() && !client.is_connected());
    EXPECT_EQ(client.wait(client.ask({})).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
    EXPECT_EQ(client.delegate_call(&num, nullptr, 0, 1), VORN_ERR_OBJECT_IS_NOT_EXIST_);
    EXPECT_EQ(num, 9);
    EXPECT_EQ(client.wait(nullptr).err, VORN_ERR_NULL_RETURN_OBJECT_);
    client.cancel(1);
}

TEST_F(Call, ConnectionLostWhileWaiting) {
    auto& client = make<Client>();
    Raw_server server;
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    Raw_connection connection = server.accept_open();
    client.connected.take();
    client.delegate({});
    Waiter first(client, client.ask(text("a")));
    Waiter second(client, client.ask(text("b")));
    Waiter answered(client, client.ask(text("c")));
    for (int i = 0; i < 3; ++i) connection.next();
    connection.send(Wire_message{0x31, c_code, connection.next().num, text("kept")});
    EXPECT_EQ(answered.answer().data, text("kept"));
    connection.reset();
    EXPECT_EQ(first.answer().err, VORN_ERR_DISCONNECTED_TCP_);
    EXPECT_EQ(second.answer().err, VORN_ERR_DISCONNECTED_TCP_);
    client.disconnected.take();
    EXPECT_FALSE(client.is_connected());
    EXPECT_TRUE(client.returned.empty()) << "a lost connection fires no on_return";
    // It comes back by itself, and tells so.
    const Raw_connection again = server.accept_open();
    client.connected.take();
    EXPECT_TRUE(client.disconnected.empty());
}

TEST_F(Call, StoppedWhileOutstanding) {
    auto& client = make<Client>();
    const Raw_server server;
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    const Raw_connection connection = server.accept_open();
    client.connected.take();
    const Promise_ not_yet_waited_for = client.ask(text("a"));
    Waiter waiting(client, client.ask(text("b"), 0.1));
    ASSERT_EQ(client.stop(), 0);
    EXPECT_EQ(client.wait(not_yet_waited_for).err, VORN_ERR_IS_NOT_CREATED_);
    EXPECT_EQ(client.stop(), VORN_ERR_IS_NOT_CREATED_);
    EXPECT_EQ(waiting.answer().err, VORN_ERR_LOCAL_TIMEOUT_) << "a stop does not end the wait";
    // What was queued went out, and then the end of the stream; the client hears nothing of that.
    EXPECT_EQ(connection.next().payload, text("a"));
    EXPECT_EQ(connection.next().payload, text("b"));
    EXPECT_TRUE(connection.ends());
    EXPECT_TRUE(client.disconnected.empty());
}

TEST_F(Call, Cancel) {
    const auto [service, client, address] = pair();
    for (int i = 0; i < 2; ++i) {
        client.cancel(-9);
        EXPECT_EQ(service.cancelled.take(), -9) << "also with no call running, and number 0 is no repeat";
    }
    // The request itself goes on, and so does the wait for it.
    service.gate.close();
    Waiter waiter(client, client.ask(text("x")));
    client.cancel(3);
    service.gate.open();
    EXPECT_EQ(waiter.answer().data, text("x"));
    EXPECT_EQ(service.cancelled.take(), 3);
}

TEST_F(Call, ReturnsThatCannotBeDeliveredComeBackAsCancels) {
    auto& service = make<Service>(
        [](const Bytes&, Bytes* _out_) {
            _out_->assign(8 << 20, 1);
            return 0;
        },
        8U << 20);
    const Addr address = service.open();
    for (const std::uint8_t type : {0x30, 0x38}) {
        Raw_client raw(address.port, 4096);
        raw.open();
        // Nothing is read: the first answer gets stuck half-way, and the others behind it.
        for (std::uint16_t num = 1; num <= 3; ++num) raw.send(raw.call(num, {}, type));
        ASSERT_TRUE(eventually([&] { return queued_for(raw.port()) >= 3; }));
        raw.reset();
        for (int i = 0; i < 3; ++i) EXPECT_EQ(service.cancelled.take(), VORN_ERR_NOT_CONNECTED_TCP_);
        service.disconnected.take();
    }
    EXPECT_TRUE(service.cancelled.empty());
}

TEST_F(Call, RepeatsInARowAreDropped) {
    finalize();
    ASSERT_EQ(initialize(1, 16, 0), 0);  // one listener, so that messages are dispatched in the order of their coming
    const Addr address = make<Service>().open();
    const Raw_client raw(address.port);
    raw.open();
    struct Said {
        std::uint16_t num;
        const char* data;
        std::uint8_t type = 0x30;
    };
    const Said all[] = {{1, "once"},
                        {1, "dropped"},
                        {1, "another type", 0x38},
                        {2, "another number"},
                        {1, "one message back only"},
                        {0, "no number"},
                        {0, "no number again"}};
    for (const Said& one : all) raw.send(raw.call(one.num, text(one.data), one.type));
    for (const Said& one : all) {
        if (&one == &all[1]) continue;
        EXPECT_EQ(raw.next().payload, text(one.data));
    }
}

TEST_F(Call, AwaitOnAListenerThread) {
    const auto [service, client, address] = pair();
    Answer inner;
    client.in_callback = [&inner, &client = client] {
        client.in_callback = nullptr;
        inner = client.call(text("from a callback"));
    };
    client.delegate_and_take(text("x"));
    EXPECT_EQ(inner.data, text("from a callback"));
}

TEST_F(Call, BytesOfAnySizeWithoutABuffer) {
    auto& service = make<Stub_call_function>(
        c_code,
        [](const Call_request& _request) { return _request.text() == "fail" ? -5 : Call_result(_request.bytes); },
        100000);
    Port port = 0;
    ASSERT_EQ(service.start(nullptr, &port), 0);
    auto& client = make<Proxy_call>(c_code);
    EXPECT_EQ(client.call("", 1).error, VORN_ERR_IS_NOT_CREATED_);
    ASSERT_EQ(client.start({c_here, port}), 0);
    ASSERT_TRUE(eventually([&] { return client.is_connected(); }));
    struct Case {
        std::string input;
        Error error;
    };
    for (const auto& [input, error] : {Case{"", 0},
                                       {"x", 0},
                                       {std::string(100000, 'y'), 0},
                                       {std::string(100001, 'z'), VORN_ERR_TOO_BIG_SIZE_},
                                       {"fail", -5}}) {
        Call_result result(VORN_ERR_LOCAL_TIMEOUT_);
        for (double limit = 0.02; limit < 30 && result.error == VORN_ERR_LOCAL_TIMEOUT_; limit *= 1.5)
            result = client.call(input, limit);
        EXPECT_EQ(result.error, error);
        EXPECT_TRUE(result.text() == (error == 0 ? input : "")) << result.bytes.size();
        EXPECT_GT(result.seconds, 0);
    }
}

}  // namespace
