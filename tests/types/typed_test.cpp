// The typed layer over both profiles: malformed and large payloads, versions, and every way that a request ends.

#include <gtest/gtest.h>

#include <functional>

#include "Vorn35/Vorn35.h"
#include "net/support/await.h"
#include "v1.vorn35.h"
#include "v2.vorn35.h"

using namespace Vorn35;
using namespace net;
using typed::Failure;
using typed::Result;

namespace {

template <class T>
T with_text(const std::string& _text) {
    T message;
    message.set_text(_text);
    return message;
}

template <class T>
std::string outcome(const Result<T>& _result) {
    return _result ? _result->text() : _result.failure().message();
}

double malformed() {
    return sum_of(statistics(), "vorn35_messages_malformed_total");
}

struct Oracle : v1::Oracle_service {
    ~Oracle() override { stop(); }
    using Handler = std::function<Result<v1::Answer>(const v1::Question&, const typed::Call_context&)>;
    Result<v1::Answer> ask(const v1::Question& _question, const typed::Call_context& _context) override {
        asked.put(_question.text());
        return handler(_question, _context);
    }
    Result<v1::Blob> copy(const v1::Blob& _blob, const typed::Call_context&) override {
        v1::Blob twice = _blob;
        if (doubles) *twice.mutable_data() += _blob.data();
        return twice;
    }
    void ring(const v1::Question& _question, const typed::Call_context&) override { rung.put(_question.text()); }
    void wish(const v1::Question& _question, const typed::Call_context& _context) override {
        wished.put(_question.text() + " " + std::to_string(wish_history(_context.caller(), 3).size()));
    }
    Handler handler = [](const v1::Question& _question, const typed::Call_context&) {
        return with_text<v1::Answer>("to " + _question.text());
    };
    std::atomic<bool> doubles{false};
    Log asked;
    Log rung;
    Log wished;
};

class Typed : public testing::TestWithParam<const char*> {
protected:
    Typed() {
        const bool is_reliable = GetParam() == std::string("reliable");
        initialize(is_reliable ? Runtime_options::reliable() : Runtime_options::standard());
    }
    ~Typed() override { finalize(); }

    static Addr open(typed::Service& _service) {
        const Result<Port> port = _service.start();
        EXPECT_TRUE(port);
        return {Vorn35::inet_addr("127.0.0.1"), port ? *port : Port{0}};
    }
    static void connect(typed::Client& _client, Addr _service) {
        ASSERT_EQ(_client.start(_service), 0);
        ASSERT_TRUE(_client.wait_until_ready(20));
    }
    /// A blocking call. In the standard profile its wait may miss the answer.
    template <class Ask>
    static auto surely(Ask _ask) {
        auto result = _ask();
        while (!result && result.failure().error == VORN_ERR_LOCAL_TIMEOUT_) result = _ask();
        return result;
    }
    template <class Client>
    static std::string ask(Client& _client, const std::string& _text) {
        return outcome(surely([&] { return _client.ask(with_text<v1::Question>(_text), 1); }));
    }
};
INSTANTIATE_TEST_SUITE_P(Profiles, Typed, testing::Values("standard", "reliable"));

/// The same members without the typed layer.
struct Raw_client : Proxy {
    Proxy_call ask{1, *this};
    Proxy_signal ring{1, *this};
    struct Wish : Proxy_command {
        explicit Wish(const Proxy& _proxy) : Proxy_command(1, _proxy) {}
    } wish{*this};
};

TEST_P(Typed, EachKind) {
    Log heard;  // before the client, whose callbacks use it
    Oracle oracle;
    v1::Oracle_client client;
    const auto hear = [&heard](const Result<v1::Answer>& _answer) { heard.put(outcome(_answer)); };
    client.omen.subscribe(hear);
    client.mood.follow();
    client.whisper.subscribe(hear);
    connect(client, open(oracle));
    EXPECT_EQ(ask(client, "life"), "to life");
    oracle.handler = [](const v1::Question&, const typed::Call_context& _context) -> Result<v1::Answer> {
        EXPECT_TRUE(_context.seconds_left() > 0 && _context.seconds_left() <= 1 && !_context.is_cancelled());
        return Failure(-7, "not today");
    };
    EXPECT_EQ(ask(client, "life"), "-7: not today");
    EXPECT_TRUE(surely([&] { return client.ring(with_text<v1::Question>("bell"), 1); }));
    EXPECT_EQ(oracle.rung.take(), "bell");
    for (const char* const text : {"a", "b", "c", "d"}) {
        EXPECT_TRUE(oracle.omen.publish(with_text<v1::Answer>(text)));
        EXPECT_EQ(heard.take(), text);
        EXPECT_TRUE(oracle.mood.set(with_text<v1::Answer>(text)));
        EXPECT_TRUE(eventually([&] { return outcome(client.mood.value()) == text; }));
        EXPECT_TRUE(client.wish.set(with_text<v1::Question>(text)));
        EXPECT_EQ(oracle.wished.take()[0], *text);
    }
    const auto history = client.mood.history(10);
    ASSERT_EQ(history.size(), 3U);
    EXPECT_EQ(outcome(history[2]) + outcome(oracle.mood.history(10)[1]), "bc");
    EXPECT_EQ(outcome(history[3]), "VORN_ERR_EMPTY_HISTORY_");
    EXPECT_EQ(client.wish.history(9).size(), 3U);
    EXPECT_TRUE(oracle.whisper.cast(Vorn35::inet_addr("127.0.0.1"), with_text<v1::Answer>("psst")));
    EXPECT_EQ(heard.take(), "psst");
    client.omen.unsubscribe();
    EXPECT_EQ(client.stop(), 0);
    EXPECT_FALSE(client.wish.set(with_text<v1::Question>("late")));
    EXPECT_EQ(ask(client, "late"), "VORN_ERR_IS_NOT_CREATED_");
}

TEST_P(Typed, PayloadsThatAreNotTheMessage) {
    Oracle oracle;
    const Addr at = open(oracle);
    Raw_client client;
    client.start(at);
    ASSERT_TRUE(eventually([&] { return client.is_connected(); }));
    const auto linked = [&] {
        const Error error = client.wish.await_link_return(client.wish.async_link(1));
        return error == 0 || error == VORN_ERR_ALREADY_CONNECTED_;
    };
    ASSERT_TRUE(eventually(linked));
    // A length beyond the end, an invalid tag, a group without its end, no valid UTF-8.
    for (const std::string_view bytes : {"\x0a\x7fx", "\x07", "\x0b", "\x0a\x01\xff"}) {
        const double before = malformed();
        EXPECT_TRUE(eventually([&] { return client.ask.call(bytes, 1).error == typed::VORN_ERR_MALFORMED_PAYLOAD_; }));
        EXPECT_TRUE(eventually([&] {
            return client.ring.signal(bytes.data(), static_cast<Pksize>(bytes.size()), 1) ==
                   typed::VORN_ERR_MALFORMED_PAYLOAD_;
        }));
        client.wish.write(bytes.data(), static_cast<Pksize>(bytes.size()));
        EXPECT_TRUE(eventually([&] { return malformed() >= before + 3; })) << bytes;
    }
    // The service goes on, and no handler has seen any of it.
    client.wish.write("", 0);
    EXPECT_EQ(oracle.wished.take()[0], ' ');
    EXPECT_TRUE(eventually([&] { return client.ask.call("", 1).error == 0; }));
    EXPECT_EQ(oracle.asked.take() + std::to_string(oracle.rung.size()), "0");
    client.stop_and_wait(20);

    // The other direction.
    oracle.stop();
    Stub raw;
    Stub_call_function answers(1, raw, [](const Call_request&) { return Call_result(std::string_view("\x0a\x7f")); });
    Stub_event omen(1, raw);
    Stub_information mood(1, raw);
    Port port = 0;
    ASSERT_EQ(raw.start(nullptr, &port), 0);
    Log heard;
    v1::Oracle_client typed_client;
    const auto hear = [&](const Result<v1::Answer>& _answer) {
        heard.put(_answer ? _answer->text() : std::to_string(_answer.failure().error));
    };
    typed_client.omen.subscribe(hear);
    typed_client.mood.subscribe(hear);
    ASSERT_EQ(typed_client.start(Addr(at.ip, port)), 0);
    ASSERT_TRUE(eventually([&] { return typed_client.is_connected(); }));
    EXPECT_EQ(ask(typed_client, "x"), "VORN_ERR_MALFORMED_PAYLOAD_: the payload is not a v1.Answer");
    const std::string wrong = std::to_string(typed::VORN_ERR_MALFORMED_PAYLOAD_);
    // The links of these stand although the service does not know the command.
    ASSERT_TRUE(eventually([&] { return omen.event("\x07", 1), !heard.empty(); }));
    omen.event("\x0a\x01y", 3);
    while (heard.take() != "y") {
    }
    ASSERT_TRUE(eventually([&] { return mood.write("\x07", 1), !heard.empty(); }));
    EXPECT_EQ(heard.take(), wrong);
    EXPECT_EQ(outcome(typed_client.mood.value()), "VORN_ERR_MALFORMED_PAYLOAD_: the payload is not a v1.Answer");
    typed_client.stop();
    raw.stop_and_wait(20);
}

TEST_P(Typed, SizesUpToTheLargest) {
    Oracle oracle;
    v1::Oracle_client client;
    connect(client, open(oracle));
    v1::Blob blob;
    for (const std::size_t size : {0UL, 1UL, 1524UL, 1525UL, 1526UL, 1600UL, 5UL << 20}) {
        blob.set_data(std::string(size, 'x'));
        const auto copy = surely([&] { return client.copy(blob, 5); });
        EXPECT_TRUE(copy && copy->data().size() == size) << size;
        Events<std::size_t> delegated;
        client.copy.delegate(blob,
                             [&](const Result<v1::Blob>& _blob) { delegated.put(_blob ? _blob->data().size() : 0); });
        EXPECT_EQ(delegated.take(), size);
    }
    oracle.doubles = true;
    blob.set_data(std::string(33UL << 20, 'x'));
    const auto too_large = surely([&] { return client.copy(blob, 20); });
    ASSERT_FALSE(too_large);
    EXPECT_NE(too_large.failure().text.find("at most 67108864"), std::string::npos) << too_large.failure().message();
    blob.set_data(std::string(64UL << 20, 'x'));
    const std::string refusal =
        "VORN_ERR_TOO_BIG_SIZE_: the v1.Blob has 67108869 bytes, and at most 67108864 can be sent";
    EXPECT_EQ(client.copy(blob).failure().message(), refusal);
    Log delegated;
    client.copy.delegate(blob, [&](const Result<v1::Blob>& _blob) { delegated.put(_blob.failure().message()); });
    EXPECT_EQ(delegated.take(), refusal);
    EXPECT_NE(oracle.whisper.broadcast(with_text<v1::Answer>(std::string(65000, 'x'))).failure().text, "");
}

struct Oracle_2 : v2::Oracle_service {
    ~Oracle_2() override { stop(); }
    static Result<v2::Answer> answer(const v2::Question& _question) {
        auto answer = with_text<v2::Answer>(_question.text() + (_question.has_depth() ? " deep" : ""));
        answer.add_reasons("because");
        return answer;
    }
    Result<v2::Answer> ask(const v2::Question& _question, const typed::Call_context&) override {
        return answer(_question);
    }
    void ring(const v2::Question&, const typed::Call_context&) override {}
    void wish(const v2::Question& _question, const typed::Call_context&) override { wished.put(_question.text()); }
    Result<v2::Answer> stop_(const v2::Question& _question, const typed::Call_context&) override {
        return answer(_question);
    }
    Log wished;
};

TEST_P(Typed, OldAndNewUnderstandEachOther) {
    Log heard;
    Oracle old_service;
    Oracle_2 new_service;
    v1::Oracle_client old_client;
    v2::Oracle_client new_client;
    old_client.omen.subscribe([&](const Result<v1::Answer>& _answer) { heard.put(outcome(_answer)); });
    new_client.mood.subscribe([&](const Result<v2::Answer>& _answer) { heard.put(outcome(_answer)); });
    connect(new_client, open(old_service));
    const Result<Port> port = new_service.start(nullptr);
    connect(old_client, {Vorn35::inet_addr("127.0.0.1"), *port});

    auto question = with_text<v2::Question>("q");
    question.set_depth(3);
    EXPECT_EQ(ask(old_client, "q"), "q");
    EXPECT_EQ(outcome(surely([&] { return new_client.ask(question, 1); })), "to q");
    EXPECT_EQ(outcome(surely([&] { return new_client.stop_(question, 1); })), "VORN_ERR_NOT_SUPPORT_CODE_");
    EXPECT_TRUE(old_client.wish.set(with_text<v1::Question>("w")) && new_client.wish.set(question));
    EXPECT_EQ(new_service.wished.take() + old_service.wished.take(), "wq 1");
    EXPECT_TRUE(new_service.omen.publish(*Oracle_2::answer(question)));
    EXPECT_EQ(heard.take(), "q deep");
    EXPECT_TRUE(old_service.mood.set(with_text<v1::Answer>("m")));
    EXPECT_EQ(heard.take(), "m");
}

// Each delegated request calls back exactly once, whatever ends it, or never after it was cancelled.
TEST_P(Typed, EndsOfDelegatedCalls) {
    Log ends;
    Log handled;
    Events<Error> stopped;
    Gate gate;  // keeps the late answer back until the limit has been told
    Oracle oracle;
    v1::Oracle_client client;
    const auto delegate = [&](const std::string& _text, double _limit) {
        return client.ask.delegate(
            with_text<v1::Question>(_text),
            [&ends, _text](const Result<v1::Answer>& _answer) { ends.put(_text + ": " + outcome(_answer)); }, _limit);
    };
    delegate("early", 1);
    EXPECT_EQ(ends.take(), "early: VORN_ERR_IS_NOT_CREATED_");
    connect(client, open(oracle));
    delegate("answered", 20);
    EXPECT_EQ(ends.take(), "answered: to answered");
    oracle.asked.take();

    oracle.handler = [&](const v1::Question& _question, const typed::Call_context& _context) -> Result<v1::Answer> {
        EXPECT_TRUE(eventually([&] { return _context.is_cancelled(); }));
        gate.pass();
        handled.put(_question.text() + (_context.seconds_left() > 0 ? " given up" : " late"));
        return v1::Answer();
    };
    gate.close();
    delegate("timed out", 0.05);
    EXPECT_EQ(ends.take(), "timed out: VORN_ERR_LOCAL_TIMEOUT_");
    gate.open();
    EXPECT_EQ(handled.take(), "timed out late");
    oracle.asked.take();

    const typed::Request_handle running = delegate("running", 20);
    EXPECT_EQ(oracle.asked.take(), "running");
    const typed::Request_handle waiting = delegate("waiting", 20);
    EXPECT_TRUE(waiting.cancel());
    EXPECT_TRUE(running.cancel());
    EXPECT_FALSE(running.cancel());
    EXPECT_EQ(handled.take(), "running given up");
    delegate("lost", 20);
    EXPECT_EQ(oracle.asked.take(), "lost") << "what was cancelled while it waited does not run";

    EXPECT_EQ(client.stop(), 0);
    EXPECT_EQ(ends.take(), "lost: VORN_ERR_IS_NOT_CREATED_");
    EXPECT_EQ(handled.take(), "lost given up") << "the connection is gone";
    EXPECT_TRUE(ends.empty() && oracle.asked.empty());

    // A callback may do all but end its client.
    oracle.handler = [](const v1::Question&, const typed::Call_context&) { return v1::Answer(); };
    connect(client, client.address());
    client.ask.delegate(v1::Question(), [&](const Result<v1::Answer>&) { stopped.put(client.stop()); });
    EXPECT_EQ(stopped.take(), VORN_ERR_BUSY_);
    EXPECT_TRUE(client.is_connected());
}

typed::Task<std::string> nested(v1::Oracle_client& _client, std::string _text) {
    co_return outcome(co_await _client.ask.co_call(with_text<v1::Question>(_text)));
}
typed::Task<> talk(v1::Oracle_client& _client, Log& _log, std::string _text) {
    _log.put(co_await nested(_client, _text + " 1"));
    const Result<void> rung = co_await _client.ring.co_send(with_text<v1::Question>(_text));
    _log.put(co_await nested(_client, _text + (rung ? " 2" : " not rung")));
}

TEST_P(Typed, CoroutinesAndTheirScope) {
    Log log;
    Log handled;
    Oracle oracle;
    v1::Oracle_client client;
    connect(client, open(oracle));
    typed::Run_loop loop;
    std::thread runner([&] { loop.run(); });
    // On the thread of the executor, and waited for.
    const auto on_loop = [&](std::function<void()> _function) {
        Events<bool> done;
        loop.post([&] { _function(), done.put(true); });
        done.take();
    };
    auto scope = std::make_unique<typed::Scope>(loop);
    on_loop([&] { scope->spawn(talk(client, log, "a")); });
    EXPECT_EQ(log.lines(2), "to a 1, to a 2");
    EXPECT_TRUE(eventually([&] {
        std::size_t left = 1;
        on_loop([&] { left = scope->size(); });
        return left == 0;
    }));
    oracle.asked.take(2);

    // The end of the scope cancels the call that runs, and the one that has not begun.
    oracle.handler = [&](const v1::Question&, const typed::Call_context& _context) {
        EXPECT_TRUE(eventually([&] { return _context.is_cancelled(); }));
        handled.put(_context.seconds_left() > 1 ? "cancelled" : "late");
        return with_text<v1::Answer>("late");
    };
    on_loop([&] {
        for (const char* const text : {"b", "c"}) scope->spawn(talk(client, log, text));
    });
    EXPECT_EQ(oracle.asked.take(), "b 1");
    on_loop([&] { scope.reset(); });
    EXPECT_EQ(handled.take(), "cancelled");
    oracle.handler = [](const v1::Question&, const typed::Call_context&) { return with_text<v1::Answer>("again"); };
    EXPECT_EQ(ask(client, "d"), "again");
    on_loop([] {});
    EXPECT_TRUE(log.empty());
    loop.stop();
    runner.join();
}

}  // namespace
