// The reliable profile: what the standard one loses arrives, by the same messages.

#include <cstdlib>

#include "Vorn/options.h"
#include "net/support/kinds.h"

using namespace net;

namespace {

class Reliable : public Pair {
protected:
    Reliable() : Pair(by_the_test) {}

    void SetUp() override {
        Pair::SetUp();
        ASSERT_EQ(initialize(Runtime_options::reliable()), 0);
    }
    void restart(const Runtime_options& _options) const {
        ASSERT_EQ(finalize(), 0);
        ASSERT_EQ(initialize(_options), 0);
    }
    static double count(std::string_view _name) { return sum_of(statistics(), _name); }
    static double count_of_directories() {
        for (const Statistic& one : statistics()) {
            if (one.name == std::string("vorn35_messages_sent_total") &&
                one.labels == std::string("kind=\"directory\"")) {
                return one.value;
            }
        }
        return -1;
    }
};

class Held_events : public Calling<Proxy_event> {
public:
    using Calling::Calling;
    Gate gate;
    std::atomic<int> came{0};

private:
    void on_event(const void*, Pksize, double) override {
        gate.pass();
        ++came;
    }
};

TEST_F(Reliable, IsChosenByOneWord) {
    EXPECT_EQ(initialize(Runtime_options::reliable()), VORN_ERR_ALREADY_CREATED_);
    ASSERT_EQ(finalize(), 0);
    ::setenv("VORN35_PROFILE", "relaible", 1);
    EXPECT_THROW(initialize(), std::invalid_argument);
    EXPECT_EQ(gp_processor, nullptr);
    ::setenv("VORN35_PROFILE", "reliable", 1);
    EXPECT_EQ(initialize(3, 16, 0), 0);
    EXPECT_TRUE(g_options.exact_waits && gp_processor->thread_count == 3);
    ASSERT_EQ(finalize(), 0);
    ::unsetenv("VORN35_PROFILE");
    EXPECT_EQ(initialize(), 0);
    EXPECT_FALSE(g_options.exact_waits);
    ASSERT_EQ(finalize(), 0);
    Runtime_options options;
    for (const double limit : {1.9, 86401.0, std::numeric_limits<double>::quiet_NaN()}) {
        options.silence_limit = limit;
        EXPECT_THROW(initialize(options), std::invalid_argument) << limit;
    }
}

TEST_F(Reliable, AnswerThatIsThereEndsTheWait) {
    connect();
    for (const double limit : {20.0, std::numeric_limits<double>::max()}) {
        const Promise_ promise = client.ask(text("x"), limit);
        EXPECT_TRUE(eventually([&] { return promise->value_->returned.load(); }));
        EXPECT_EQ(client.wait(promise).data, text("x"));
    }
    const double late = count("vorn35_answers_late_total");
    EXPECT_EQ(client.wait(client.ask(text("x"), 0)).err, VORN_ERR_LOCAL_TIMEOUT_);
    EXPECT_TRUE(eventually([&] { return count("vorn35_answers_late_total") > late; })) << "it expired, and is answered";
}

TEST_F(Reliable, LoopsWithoutAPauseLoseNothing) {
    connect();
    const double refused = count("vorn35_messages_refused_total");
    const std::size_t loop = many(4000);
    for (std::size_t i = 0; i < loop; ++i) ASSERT_EQ(client.wait(client.ask(text("x"))).err, 0) << i;
    for (std::size_t i = 0; i < loop; ++i) client.delegate(text("x"));
    for (std::size_t i = 0; i < loop; ++i) ASSERT_EQ(client.returned.take().err, 0) << i;
    EXPECT_TRUE(client.returned.empty());

    auto& publisher = make<Event_service>();
    const Addr open = publisher.open();
    std::vector<Event_client*> readers;
    for (IP i = 0; i < 8; ++i) {
        readers.push_back(&make<Event_client>());
        readers.back()->connect({c_here + (i << 24U), open.port});
        msg_processing_by_serial_alone(Msg_addr(readers.back()->self().port, c_code, 3));
        EXPECT_EQ(readers.back()->link(), "link 0");
    }
    for (std::size_t i = 0; i < loop; ++i) EXPECT_EQ(publisher.put(std::to_string(i)), 0);
    for (Event_client* const reader : readers) {
        for (std::size_t i = 0; i < loop; ++i) ASSERT_EQ(reader->log.take(), "value " + std::to_string(i));
    }
    EXPECT_EQ(count("vorn35_messages_refused_total"), refused);
}

/// A connection over its bounds is not read, another one is; and it is read while its peer's answer is waited for.
TEST_F(Reliable, ConnectionOverItsBoundIsPaused) {
    Runtime_options options = Runtime_options::reliable();
    options.receive_messages = 10;
    restart(options);
    connect();
    const Other_client fast(address);
    const Other_client other(address);
    const double paused = count("vorn35_connections_paused_total");
    service.gate.close();
    constexpr std::uint16_t many = 2000;
    for (std::uint16_t num = 1; num <= many; ++num) fast.send(fast.call(num, {}));
    EXPECT_TRUE(eventually([&] { return count("vorn35_connections_paused_total") > paused; }));
    EXPECT_EQ(other.ask(EMsg::event_connect, 99), EMsg::event_reject);
    const auto all = connections();
    const auto of_fast = std::ranges::find(all, fast.self(), &Connection_statistic::peer);
    ASSERT_NE(of_fast, all.end());
    EXPECT_TRUE(of_fast->is_paused && of_fast->waiting_messages > 10 && !of_fast->is_client);
    EXPECT_EQ(of_fast->received_bytes % 20, 0U);
    EXPECT_EQ(std::ranges::count(all, true, &Connection_statistic::is_client), 1);
    timer_shutdown_server(relay_clock() + std::chrono::seconds(11));
    EXPECT_TRUE(is_served(fast.port())) << "it cannot be heard while it is not read";
    EXPECT_TRUE(eventually([&] { return !is_served(other.port()); }));
    service.gate.open();
    for (std::uint16_t num = 1; num <= many; ++num) ASSERT_EQ(fast.next().num, num);
}

/// All listeners are busy with events of a service, and its connection is over its bound: an answer from there comes through.
TEST_F(Reliable, ConnectionIsReadForAThreadThatWaits) {
    Runtime_options options = Runtime_options::reliable();
    options.receive_messages = 10;
    restart(options);
    const Far_service far(client);
    auto& events = make<Held_events>(Msg_code{9}, client);
    Msg_num num = 0;
    EXPECT_EQ(events.delegate_link(&num, 20), 0);
    far.connection.next();
    far.connection.send(Wire_message{73, 9, num});
    EXPECT_TRUE(eventually([&] { return events.is_linked(); }));
    events.gate.close();
    const double paused = count("vorn35_connections_paused_total");
    for (std::uint16_t i = 0; i < 100; ++i) far.connection.send(Wire_message{69, 9, i});
    EXPECT_TRUE(eventually([&] { return count("vorn35_connections_paused_total") > paused; }));
    const Promise_ promise = client.ask(text("x"));
    far.connection.send(Wire_message{0x31, c_code, far.connection.next().num, text("answer")});
    EXPECT_EQ(client.wait(promise).data, text("answer"));
    events.gate.open();
    EXPECT_TRUE(eventually([&] { return events.came == 100; }));
}

TEST_F(Reliable, BytesThatWaitToBeSentAreBounded) {
    Runtime_options options = Runtime_options::reliable();
    options.send_bytes = 1 << 20;
    restart(options);
    service.answer_much(60000);
    const Addr to = service.open();
    const Raw_server deaf;
    ASSERT_EQ(client.start({c_here, deaf.port()}), 0);
    const Raw_connection connection = deaf.accept_open();
    client.connected.take();
    const Bytes large(256 * 1024);
    Msg_num num = 0;
    Error err = 0;
    for (int i = 0; i < 1000 && err == 0; ++i) err = client.delegate_call(&num, large.data(), large.size(), 20);
    EXPECT_EQ(err, VORN_ERR_BUSY_LOCALHOST_);
    EXPECT_GT(count("vorn35_messages_send_bound_total"), 0);
    // An answer that does not fit ends the connection.
    const Other_client greedy(to, 4096);
    service.connected.take();
    for (std::uint16_t i = 1; i < 2000 && service.disconnected.empty(); ++i) greedy.send(greedy.call(i, text("much")));
    service.disconnected.take();
    under_pressure = true;
}

TEST_F(Reliable, RequestThatExpiresBehindItsHandlerIsAnswered) {
    connect();
    service.gate.close();
    client.delegate(text("first"));
    service.gate.until_reached();
    const double expired = count("vorn35_messages_expired_total");
    const Msg_num late = client.delegate(text("late"), 0.01);
    const auto waits = [this] {
        const Exclusive_hold hold;
        const auto& queue = gp_processor->qbuffer_map.at(Msg_addr(address.port, c_code, 1));
        const std::lock_guard lock(queue->m_lock);
        return !queue->empty();
    };
    EXPECT_TRUE(eventually([&] { return waits() || count("vorn35_messages_expired_total") > expired; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(15));  // the limit itself
    service.gate.open();
    for (int i = 0; i < 2; ++i) {
        const Answer answer = client.returned.take();
        EXPECT_EQ(answer.err, answer.num == late ? VORN_ERR_REMOTE_TIMEOUT_ : 0);
    }
    EXPECT_EQ(count("vorn35_messages_expired_total"), expired + 1);
    EXPECT_EQ(service.called.size(), 1U);
}

TEST_F(Reliable, OpeningsAndSilenceEnd) {
    address = service.open();
    const Raw_client half(address.port);
    EXPECT_TRUE(eventually([] { return records() == 1; }));
    timer_cancel_openings(relay_clock());
    EXPECT_EQ(records(), 1U);
    timer_cancel_openings(relay_clock() + std::chrono::seconds(11));
    EXPECT_TRUE(half.ends());
    EXPECT_TRUE(eventually([] { return records() == 0; }));
    EXPECT_TRUE(service.connected.empty());

    const Other_client silent(address);
    service.connected.take();
    timer_shutdown_server(relay_clock());
    EXPECT_TRUE(is_served(silent.port()));
    timer_shutdown_server(relay_clock() + std::chrono::seconds(11));
    service.disconnected.take();
    EXPECT_TRUE(silent.ends());
}

TEST_F(Reliable, StopInACallbackIsCompleted) {
    connect();
    service.handler = [this](const Bytes&, Bytes*) { return service.stop(); };
    client.delegate(text("x"));
    EXPECT_TRUE(eventually([] {
        const Exclusive_hold hold;
        return gp_processor->local_stubes.empty() && gp_processor->qbuffer_map.empty();
    })) << "the address is free";
    // A client that is stopped while it connects leaves nothing at the service.
    auto& brief = make<Client>();
    const Raw_server slow;
    ASSERT_EQ(brief.start({c_here, slow.port()}), 0);
    const Raw_connection left = slow.accept();
    ASSERT_EQ(brief.stop(), 0);
    left.read(1024);
    left.send(opening(slow.port(), 4711));
    EXPECT_TRUE(left.ends());
}

TEST_F(Reliable, LinksReturnWithTheirConnection) {
    const auto returns = [](auto& _service, auto& _client, auto... _form) {
        _client.connect(_service.open());
        EXPECT_EQ(_client.link(_form...), "link 0");
        _client.lose_connection();
        EXPECT_EQ(_client.log.lines(3), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect, link 0");
        EXPECT_TRUE(_client.is_linked());
        _client.lose_connection();
        EXPECT_EQ(_client.log.lines(3), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect, link 0") << "and again";
        _client.unlink();
        _client.lose_connection();
        EXPECT_EQ(_client.log.take(), "disconnect");
        _client.connected.take(3);
        EXPECT_EQ(_client.link(_form...), "link 0") << "nothing asked for it before";
    };
    returns(make<Event_service>(), make<Event_client>());
    for (const bool reliable : {true, false})
        returns(make<Information_service>(), make<Information_client>(), reliable);
    returns(make<Command_service>(), make<Command_client>());
}

TEST_F(Reliable, RestorationIsLostOrOvertaken) {
    auto& event = make<Event_service>();
    auto& client = make<Event_client>();
    client.connect(event.open());
    EXPECT_EQ(client.link(), "link 0");
    event.gate.close();
    client.lose_connection();
    EXPECT_EQ(client.log.lines(2), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect");
    event.gate.until_reached();
    client.lose_connection();
    EXPECT_EQ(client.log.take(), "disconnect") << "the answer cannot come any more";
    event.gate.open();
    EXPECT_EQ(client.log.take(), "link 0");

    event.gate.close();
    client.lose_connection();
    EXPECT_EQ(client.log.lines(2), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect");
    event.gate.until_reached();
    client.unlink();
    event.gate.open();
    EXPECT_EQ(
        event.log.lines(6),
        "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect, disconnect, unlink VORN_ERR_DISCONNECTED_TCP_, disconnect, "
        "unlink 0");
    EXPECT_EQ(client.link(), "link 0") << "the only one";
}

TEST_F(Reliable, CurrentValueComesWithTheLink) {
    for (const bool reliable : {true, false}) {
        auto& information = make<Information_service>();
        auto& client = make<Information_client>();
        client.connect(information.open());
        EXPECT_EQ(client.link(reliable), "link 0") << "there is no value yet";
        information.put("now");
        EXPECT_EQ(client.log.take(), "value now");
        client.unlink();
        EXPECT_EQ(information.log.take(), "unlink 0");
        for (int i = 0; i < 50; ++i) {
            if (i % 2 == 0) {
                Msg_num num = 0;
                EXPECT_EQ(client.delegate_link(&num, reliable, 20), 0);
                EXPECT_EQ(client.log.lines(2), "link 0, value now") << "in this order";
            } else {
                // The listener that has the value races the thread that waits for the link.
                EXPECT_EQ(client.await_link_return(client.async_link(reliable, 20), nullptr), 0);
                EXPECT_EQ(client.log.take(), "value now");
            }
            EXPECT_EQ(client.newest(), "now");
            EXPECT_EQ(History(client.see_history(9)).size(), 1U);
            client.unlink();
            EXPECT_EQ(information.log.take(), "unlink 0");
        }
    }
}

/// Less than the beat, which would find the name a second later.
TEST_F(Reliable, NamesAreFoundAtOnce) {
    restart(Runtime_options::standard());
    Addr found;
    service.open("slow");
    EXPECT_TRUE(eventually([&] { return get_address("slow", &found) == 1; })) << "a datagram of a life without bounds";
    service.stop();
    restart(Runtime_options::reliable());
    const auto before = std::chrono::steady_clock::now();
    address = service.open("prompt");
    EXPECT_TRUE(eventually([&] { return get_address("prompt", &found) == 1; }));
    EXPECT_EQ(found.port, address.port);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(900));
    // Neither does one that was not heard before wait for the beat. Right after a beat there is time to see it.
    const auto told = [] { return count_of_directories(); };
    for (const double beat = told(); told() == beat;) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // at another part of the second
    const double quiet = told();
    const auto asked = std::chrono::steady_clock::now();
    Raw_socket(::socket(AF_INET, SOCK_DGRAM, 0))
        .send_to(c_directory_port, Wire_message{3, 1, 0, hex("00 00 20 00 00 00 00 00")}.bytes());
    EXPECT_TRUE(eventually([&] { return told() > quiet; }));
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::milliseconds(500));
}

}  // namespace
