// What the beat of the timer does to connections, by clocks of the test's own.

#include "net/support/objects.h"

using namespace net;

namespace {

constexpr std::chrono::nanoseconds c_silence(8888000000000);

class Supervision : public Pair {
protected:
    static ks_clock_t last_heard_from(std::uint16_t _client_port) {
        return with_server_record(_client_port, [](const auto* _record) {
            return _record == nullptr ? ks_clock_t{} : _record->recv_clk.load();
        });
    }
    static std::size_t in(const connect_map_t& _map) {
        const std::lock_guard lock(g_client_lock);
        return _map.size();
    }
    static void records_become(std::size_t _count) {
        EXPECT_TRUE(eventually([_count] { return records() == _count; }));
    }
    static Addr address_of(const Raw_server& _server) { return {c_here, _server.port()}; }
};

TEST_F(Supervision, SilentClientIsCutAfterTheLimitAndNotAtIt) {
    address = service.open();
    const Other_client raw(address);
    service.connected.take();
    const ks_clock_t heard = last_heard_from(raw.port());
    g_auto_disconnect = false;
    timer_shutdown_server(hours_ahead());
    g_auto_disconnect = true;
    timer_shutdown_server(heard + c_silence);
    EXPECT_TRUE(is_served(raw.port()));
    EXPECT_TRUE(raw.any().is_heartbeat());
    EXPECT_EQ(last_heard_from(raw.port()), heard);
    // Any bytes count as a sign of life.
    raw.send(raw.call(1, text("x")));
    EXPECT_EQ(raw.next().payload, text("x"));
    timer_shutdown_server(heard + c_silence + std::chrono::nanoseconds(1));
    EXPECT_TRUE(is_served(raw.port()));
    timer_shutdown_server(last_heard_from(raw.port()) + c_silence + std::chrono::nanoseconds(1));
    EXPECT_FALSE(is_served(raw.port()));
    EXPECT_TRUE(raw.ends());
    records_become(0);
    const Other_client next(address);
    service.connected.take();
    EXPECT_TRUE(service.disconnected.empty()) << "a cut posts no disconnect";
}

TEST_F(Supervision, SilentServiceIsCutAndTriedAgain) {
    const Far_service far(client);
    Waiter waiter(client, client.ask(text("x")));
    EXPECT_EQ(far.connection.next().payload, text("x"));
    g_auto_disconnect = false;
    timer_shutdown_client(hours_ahead());
    g_auto_disconnect = true;
    client.delegate(text("y"));
    EXPECT_EQ(far.connection.next().payload, text("y"));
    timer_shutdown_client(hours_ahead());
    client.disconnected.take();
    EXPECT_EQ(waiter.answer().err, VORN_ERR_DISCONNECTED_TCP_);
    EXPECT_TRUE(far.connection.ends());
    timer_reconnect_client();
    const Raw_connection again = far.server.accept_open();
    client.connected.take();
    EXPECT_TRUE(client.disconnected.empty());
}

TEST_F(Supervision, UnacknowledgedReturnsComeBackAsCancels) {
    service.handler = [](const Bytes& _in, Bytes*) { return _in == text("fail") ? 1 : 0; };
    address = service.open();
    const Other_client raw(address);
    // Four answers that wait for an acknowledgement, and two that do not.
    std::uint16_t num = 0;
    for (int i = 0; i < 4; ++i) raw.send(raw.call(++num, text("x")));
    raw.send(raw.call(++num, text("fail")));
    raw.send(raw.call(++num, text("x"), 0x38));
    for (int i = 0; i < 6; ++i) raw.next();
    // By order alone: whatever the acknowledgement names, the first is taken. Each of the four kinds counts.
    raw.send(raw.call(999, {}, 0x34, 1));
    raw.send(raw.call(999, {}, 0x2C, 1));
    raw.send(raw.call(++num, text("fail")));
    raw.next();  // the two before it were read
    timer_shutdown_server(hours_ahead());
    for (int i = 0; i < 2; ++i) EXPECT_EQ(service.cancelled.take(), VORN_ERR_DISCONNECTED_TCP_);
    EXPECT_TRUE(raw.ends());
    records_become(0);
    EXPECT_TRUE(service.cancelled.empty());
}

TEST_F(Supervision, AttemptsThatHangAreMadeAgain) {
    // Nobody has that address, and nothing says so for a while.
    const Addr nowhere(::Vorn35::inet_addr("198.51.100.77"), 4000);
    ASSERT_EQ(client.start(nowhere), 0);
    ASSERT_EQ(in(g_connect_map), 1U);
    timer_cancel_connect(relay_clock());
    EXPECT_EQ(in(g_connect_map), 1U);
    timer_cancel_connect(hours_ahead());
    EXPECT_TRUE(eventually([] { return in(g_connect_fail_map) == 1; }));
    EXPECT_EQ(in(g_connect_map), 0U);
    timer_reconnect_client();
    EXPECT_EQ(in(g_connect_map), 1U);
    EXPECT_EQ(client.stop(), 0);
    timer_cancel_connect(hours_ahead());
    records_become(0);
    // A service that accepts and does not answer the opening record.
    const Raw_server server;
    ASSERT_EQ(client.start(address_of(server)), 0);
    const Raw_connection mute = server.accept();
    EXPECT_EQ(mute.read(1024).size(), 1024U);
    timer_cancel_connect(hours_ahead());
    EXPECT_TRUE(mute.ends());
    const Raw_connection again = server.accept_open();
    client.connected.take();
    EXPECT_TRUE(client.disconnected.empty());
    records_become(1);
}

TEST_F(Supervision, StoppedWhileConnectingIsLeftToItsPeer) {
    const Raw_server server;
    ASSERT_EQ(client.start(address_of(server)), 0);
    const Raw_connection left = server.accept();
    ASSERT_EQ(client.stop(), 0);
    ASSERT_EQ(client.start(address_of(server)), 0);
    const Raw_connection successor = server.accept_open();
    client.connected.take();
    // The old connection still opens, without a callback; from then on it carries answers, but no heartbeat.
    left.read(1024);
    left.send(opening(server.port(), 4711));
    left.send(Wire_message{0x39, c_code, 1, text("by the old connection")});
    EXPECT_EQ(client.returned.take().data, text("by the old connection"));
    inet_interval_event();
    EXPECT_TRUE(successor.any().is_heartbeat());
    EXPECT_FALSE(left.readable(0));
    EXPECT_TRUE(client.connected.empty() && client.disconnected.empty());
}

}  // namespace
