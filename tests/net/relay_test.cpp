// The relay under peers that behave badly, all at once, or not at all.

#include <fcntl.h>

#include <atomic>
#include <random>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Relay : public Runtime {
protected:
    /// All connections so far have been accepted: the backlog has room again, without which the kernel would
    /// put the next ones off for a second.
    static void all_accepted(Addr _service) {
        const Raw_client last(_service.port);
        last.open();
    }
    static void all_gone() {
        EXPECT_TRUE(eventually([] { return records() == 0; }));
    }
    /// The next attempt of a client to connect, without waiting for the second to pass.
    static Raw_connection reconnected(const Raw_server& _server) {
        while (!_server.readable(2)) timer_reconnect_client();
        return _server.accept();
    }
};

TEST_F(Relay, MoreConnectionsAtOnceThanTheBacklogHolds) {
    const Addr address = make<Service>().open();
    const sockaddr_in to = socket_address(address.port);
    const auto arrive = [&](std::size_t _count) {
        std::vector<Raw_connection> burst;
        {
            // The worker that accepts gets no further than the first meanwhile, and has one event for the others.
            const std::lock_guard hold(ooo);
            while (burst.size() < _count) {
                burst.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
                ::connect(burst.back().fd, reinterpret_cast<const sockaddr*>(&to), sizeof to);
            }
        }
        for (const Raw_connection& one : burst) {
            pollfd writable{one.fd, POLLOUT, 0};
            ASSERT_EQ(::poll(&writable, 1, 25000), 1);
            ::fcntl(one.fd, F_SETFL, 0);
            one.send(opening(one.port(), address.port));
        }
        for (const Raw_connection& one : burst) EXPECT_EQ(one.read(1024).size(), 1024U);
        EXPECT_EQ(records(), _count);
        burst.clear();
        all_gone();
    };
    arrive(2);
    arrive(6);
    arrive(12);  // some of them are asked by the kernel to come again in a second
}

/// How far a peer comes before it is gone.
enum class Stage { connected, half_opening, opened, exchanged, half_header, half_payload, served };
constexpr Stage c_stages[] = {Stage::connected,   Stage::half_opening, Stage::opened, Stage::exchanged,
                              Stage::half_header, Stage::half_payload, Stage::served};

void go(const Raw_connection& _connection, const Bytes& _opening, const Bytes& _message, Stage _stage) {
    if (_stage >= Stage::half_opening) _connection.send(Bytes(_opening.begin(), _opening.begin() + 500));
    if (_stage >= Stage::opened) _connection.send(Bytes(_opening.begin() + 500, _opening.end()));
    if (_stage >= Stage::exchanged) _connection.read(1024);
    std::size_t length = 0;
    if (_stage >= Stage::half_header) length = 10;
    if (_stage >= Stage::half_payload) length = 25;
    if (_stage >= Stage::served) length = _message.size();
    _connection.send(Bytes(_message.begin(), _message.begin() + static_cast<std::ptrdiff_t>(length)));
}

TEST_F(Relay, ClientsThatVanishAtEachStage) {
    auto& service = make<Service>();
    const Addr address = service.open();
    for (const bool by_reset : {false, true}) {
        for (const Stage stage : c_stages) {
            for (int i = 0; i < 10; ++i) {
                Raw_client raw(address.port);
                go(raw, opening(raw.port(), address.port), raw.call(1, text("payload")).bytes(), stage);
                by_reset ? raw.reset() : raw.close();
                // One after the other: a pipe that is full refuses notices.
                all_accepted(address);
                all_gone();
                EXPECT_TRUE(eventually([] { return gp_processor->test_empty(); }));
            }
        }
    }
    all_gone();
    // One notice for each end of those that had come so far.
    const std::size_t connected = service.connected.size();
    EXPECT_TRUE(eventually([&] { return service.disconnected.size() == connected; }));
    EXPECT_GE(connected, 4U * 10);
    auto& client = make<Client>();
    client.connect(address);
    EXPECT_EQ(client.delegate_and_take(text("x")).data, text("x"));
}

TEST_F(Relay, ServicesThatVanishAtEachStage) {
    const Raw_server server;
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    const Bytes message = Wire_message{0x39, c_code, 1, text("payload")}.bytes();
    std::size_t up = 0;
    for (const bool by_reset : {false, true}) {
        for (const Stage stage : c_stages) {
            Raw_connection connection = reconnected(server);
            go(connection, opening(server.port(), 1000), message, stage);
            if (stage >= Stage::exchanged) {
                client.connected.take();
                ++up;
            }
            if (stage == Stage::served) client.returned.take();
            by_reset ? connection.reset() : connection.close();
        }
    }
    const Raw_connection last = reconnected(server);
    go(last, opening(server.port(), 1000), message, Stage::served);
    client.connected.take();
    EXPECT_EQ(client.returned.take().data, text("payload"));
    // No attempt that failed was reported, and no loss twice.
    EXPECT_TRUE(eventually([&] { return client.disconnected.size() >= up; }));
    EXPECT_GE(client.disconnected.size(), up);
    EXPECT_LE(client.disconnected.size(), up + 2U * 1);
    EXPECT_TRUE(eventually([] { return records() == 1; }));
}

TEST_F(Relay, NobodyListensYet) {
    Port port = 0;
    {
        const Raw_server gone;
        port = gone.port();
    }
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, port}), 0);
    ASSERT_TRUE(eventually([] {
        const std::lock_guard lock(g_client_lock);
        return g_connect_fail_map.size() == 1;
    }));
    auto& service = make<Service>();
    service.open(nullptr, port);
    client.connected.take();  // by the beat of the timer
    ASSERT_EQ(client.stop(), 0);
    service.disconnected.take();
    all_gone();
}

TEST_F(Relay, OneThatDoesNotReadHoldsUpNobody) {
    auto& service = make<Service>(
        [](const Bytes& _in, Bytes* _out_) {
            if (_in == text("much")) _out_->assign(4 << 20, 7);
            return 0;
        },
        4U << 20);
    const Addr address = service.open();
    const Raw_client stuck(address.port, 4096);
    stuck.open();
    for (std::uint16_t num = 1; num <= 8; ++num) stuck.send(stuck.call(num, text("much")));
    ASSERT_TRUE(eventually([&] { return queued_for(stuck.port()) >= 8; }));
    const Raw_server reader_only;
    auto& stuck_client = make<Client>();
    ASSERT_EQ(stuck_client.start({c_here, reader_only.port()}), 0);
    const Raw_connection never_read = reader_only.accept_open();
    stuck_client.connected.take();
    for (int i = 0; i < 8; ++i) stuck_client.delegate(Bytes(4 << 20));
    std::vector<std::unique_ptr<Raw_client>> others;
    for (int i = 0; i < 5; ++i) others.push_back(std::make_unique<Raw_client>(address.port));
    for (const auto& one : others) one->open();
    std::uint16_t num = 100;
    for (int round = 0; round < 20; ++round) {
        for (const auto& one : others) one->send(one->call(++num, text("little")));
        for (const auto& one : others) EXPECT_EQ(one->next().payload, text("little"));
    }
    for (const auto& one : others) EXPECT_TRUE(one->any().is_heartbeat());
    EXPECT_GT(queued_for(stuck.port()), 1U) << "so it was stuck";
    // It gets everything whole in the end, and what had been queued meanwhile.
    std::vector<bool> seen(9);
    for (int i = 0; i < 8; ++i) {
        const Wire_message answer = stuck.next();
        EXPECT_EQ(answer.payload, Bytes(4 << 20, 7));
        seen[answer.num] = true;
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 8);
}

/// A return waits for its acknowledgement, which comes, and then the socket took nothing of it after all.
TEST_F(Relay, AcknowledgedBeforeItWasSent) {
    struct_epoll_overlapped_tcp record(-1, c_socket_server, Addr(), Addr());
    Token answer;
    answer.alloc_header_force();
    Packet* const pkt = answer.get_header_packet();
    pkt->header.type = EMsg::call_return;
    wait_ack(&record, answer, pkt);
    take_ack(&record);
    unwait_ack(&record, pkt);
    EXPECT_EQ(gp_memory->get_ref(answer.header_mm), 1U);
    wait_ack(&record, answer, pkt);
    unwait_ack(&record, pkt);
    EXPECT_EQ(gp_memory->get_ref(answer.header_mm), 1U);
    answer.free();
}

/// The receiving side finds the end of a connection while a message is stuck half-way, and then the send fails.
TEST_F(Relay, BrokenAfterItsEndWasSeen) {
    auto& service = make<Service>(
        [](const Bytes&, Bytes* _out_) {
            _out_->assign(8 << 20, 1);
            return 0;
        },
        8U << 20);
    const Addr address = service.open();
    for (int i = 0; i < 5; ++i) {
        Raw_client raw(address.port, 4096);
        raw.open();
        raw.send(raw.call(1, {}));
        ASSERT_TRUE(eventually([&] { return queued_for(raw.port()) != 0; }));
        auto* const record = with_server_record(raw.port(), [](auto* _record) { return _record; });
        ::shutdown(raw.fd, SHUT_WR);
        service.disconnected.take();
        ASSERT_TRUE(eventually([&] {
            const std::lock_guard lock(record->send_queue_lock);
            return !record->send_queue.back().has_header();  // the mark that it is to be closed
        }));
        {
            // The send worker is called by the room that this makes, and gets no further than to the lock.
            const std::lock_guard hold(record->send_queue_lock);
            pollfd room{record->socket, POLLOUT, 0};
            while (::poll(&room, 1, 0) == 0) raw.read(50000);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));  // nothing tells that it stands there
            raw.reset();
        }
        EXPECT_EQ(service.cancelled.take(), VORN_ERR_NOT_CONNECTED_TCP_);
        all_gone();
    }
}

/// Everything at once for a while: services and clients come and go under traffic, and raw peers break off.
TEST_F(Relay, Churn) {
    under_pressure = true;
    std::atomic<bool> done{false};
    std::atomic<unsigned> answered{0};
    std::vector<std::thread> threads;
    auto& steady = make<Service>();
    const Addr address = steady.open();
    auto& stays = make<Client>();
    const Addr by_another_way(::Vorn35::inet_addr("198.51.100.1"), address.port);
    stays.connect(by_another_way);
    // Told by a notice that a full pipe refuses like any other, so that it may never come.
    const auto connects = [](Client& _client) {
        for (int i = 0; i < 200 && !_client.is_connected(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    const auto run = [&](auto _step) {
        threads.emplace_back([&done, _step] {
            for (unsigned round = 0; !done; ++round) _step(round);
        });
    };
    for (int i = 0; i < 2; ++i) {
        auto& comes_and_goes = make<Service>();
        auto& follows = make<Client>();
        run([&](unsigned _round) {
            Port port = 0;
            ASSERT_EQ(comes_and_goes.start(nullptr, &port), 0);
            ASSERT_EQ(follows.start({c_here, port}), 0);
            if (_round % 3 != 0) {
                connects(follows);
                Msg_num num = 0;
                for (int k = 0; k < 3; ++k) follows.delegate_call(&num, "abc", 3, 1);
                follows.wait(follows.ask(text("plain"), 0.001));
            }
            if (_round % 2 == 0) comes_and_goes.stop();
            follows.stop();
            comes_and_goes.stop();
        });
    }
    auto& restarts = make<Client>();
    run([&](unsigned _round) {
        ASSERT_EQ(restarts.start(address), 0);
        // One that is stopped before it has connected keeps its connection for hours: not too many of them.
        if (_round % 8 != 0 || _round > 800) {
            connects(restarts);
        }
        Msg_num num = 0;
        restarts.delegate_call(&num, "x", 1, 1);
        restarts.cancel(1);
        ASSERT_EQ(restarts.stop(), 0);
    });
    // Bytes in both directions (some calls are refused by a full pipe), then a break at any place.
    run([&](unsigned _round) {
        Raw_client raw(address.port);
        raw.send(opening(raw.port(), address.port));
        if (_round % 4 != 0) raw.read(1024);
        for (std::uint16_t num = 1; num < 10; ++num) raw.send(raw.call(num, Bytes(20000)));
        if (_round % 3 == 0 && raw.readable(20)) raw.read(20);
        _round % 2 == 0 ? raw.reset() : raw.close();
    });
    const Raw_server server;
    auto& victim = make<Client>();
    ASSERT_EQ(victim.start({c_here, server.port()}), 0);
    run([&](unsigned _round) {
        if (!server.readable(1)) return timer_reconnect_client();
        Raw_connection connection = server.accept();
        if (_round % 4 == 0) return connection.reset();
        connection.send(opening(server.port(), 1234) + Wire_message{0x39, c_code, 5, Bytes(50000)}.bytes());
        connection.read(1024);
        Msg_num num = 0;
        for (int k = 0; k < 5; ++k) victim.delegate_call(&num, server.fd == 0 ? nullptr : "abcd", 4, 1);
        _round % 2 == 0 ? connection.reset() : connection.close();
    });
    run([&](unsigned) {
        if (stays.wait(stays.ask(text("y"), 0.2)).err == 0) ++answered;
        inet_interval_event();
    });
    std::this_thread::sleep_for(std::chrono::seconds(2));  // the length of the churn
    done = true;
    for (std::thread& one : threads) one.join();
    EXPECT_GT(answered, 10U);
    victim.stop();
    stays.stop();
    EXPECT_TRUE(stays.disconnected.empty());
    auto& after = make<Client>();
    after.connect(address);
    EXPECT_EQ(after.call(text("alive")).data, text("alive"));
}

TEST_F(Relay, RandomBytes) {
    auto& service = make<Service>();
    const Addr address = service.open();
    std::mt19937 random(1);
    const auto noise = [&random](std::size_t _size) {
        Bytes bytes(_size);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
        return bytes;
    };
    for (int i = 0; i < 300; ++i) {
        Raw_client raw(address.port);
        Bytes bytes = noise(random() % 3000);
        // Every other one with an opening and headers that make sense, but for a field or two.
        if (i % 2 == 0) {
            bytes = opening(raw.port(), static_cast<std::uint16_t>(i % 4 == 0 ? address.port : random()));
            for (std::uint16_t num = 0; num < 8; ++num) {
                Wire_message message = raw.call(num, noise(random() % 50));
                message.type = static_cast<std::uint8_t>(random());
                message.code = static_cast<std::uint16_t>(random() % 2 == 0 ? c_code : random());
                message.gport = static_cast<std::uint16_t>(random() % 2 == 0 ? 0 : random());
                message.limit = static_cast<std::uint16_t>(random());
                bytes = bytes + message.bytes();
            }
            // A size that is not followed by its bytes; 64 MiB at most, since memory is had for it.
            bytes = bytes + noise(16) + number(static_cast<std::uint32_t>(random() % (64 << 20)), 4) + noise(100);
        }
        raw.send(bytes);
        raw.close();
        if (i % 4 == 3) all_accepted(address);
    }
    const Raw_server server;
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    for (int i = 0; i < 100; ++i) {
        const Raw_connection connection = reconnected(server);
        connection.send(i % 2 == 0 ? noise(1024 + random() % 500) : opening(1, 2) + noise(random() % 500));
    }
    const Raw_socket datagrams(::socket(AF_INET, SOCK_DGRAM, 0));
    for (int i = 0; i < 2000; ++i) {
        Bytes bytes = noise(random() % 200);
        if (i % 2 == 0 && !bytes.empty()) bytes[0] = 2;
        if (i % 4 == 0 && bytes.size() > 20) {
            const Bytes head = Wire_message{3, 1, 0, Bytes(bytes.begin() + 20, bytes.end())}.bytes();
            std::copy_n(head.begin(), 20, bytes.begin());
        }
        const sockaddr_in to = socket_address(i % 2 == 0 ? Port{9845} : address.port);
        ::sendto(datagrams.fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    EXPECT_TRUE(eventually([&] {
        Client one;
        return one.start(address) == 0 && eventually([&] { return one.is_connected(); }) && one.stop() == 0;
    }));
    auto& good = make<Client>();
    good.connect(address);
    EXPECT_EQ(good.delegate_and_take(text("still here")).data, text("still here"));
}

TEST_F(Relay, DatagramsOfEveryLengthAndThenAGoodOne) {
    auto& service = make<Service>();
    const Addr address = service.open();
    const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in to = socket_address(address.port);
    std::uint16_t num = 0;
    /// A call by datagram reaches the member like any other; nobody can be answered.
    const auto call = [&](const char* _payload) {
        return Wire_message{0x33, c_code, ++num, text(_payload), 5, 0xFFFF, 0, num};
    };
    Bytes nineteen = call("").bytes();
    nineteen.pop_back();
    Wire_message version_one = call("");
    version_one.first = 1;
    Wire_message version_ten = call("");
    version_ten.first = 0x0A;  // version 2 with a priority
    Bytes too_short = call("abc").bytes();
    too_short.pop_back();
    Bytes much_too_short = call("").bytes();
    much_too_short[19] = 0x7F;
    Bytes longer = call("").bytes();
    longer.push_back(1);
    const auto send = [&](const Bytes& _bytes) {
        ASSERT_EQ(
            ::sendto(socket.fd, _bytes.data(), _bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to),
            static_cast<ssize_t>(_bytes.size()));
    };
    struct Case {
        const char* what;
        Bytes bytes;
        bool taken;
    };
    const Case cases[] = {
        {"length 0", {}, false},
        {"length 19", nineteen, false},
        {"version 1", version_one.bytes(), false},
        {"short of its payload", too_short, false},
        {"size of 2 GiB", much_too_short, false},
        {"header alone", call("").bytes(), true},
        {"with payload", call("abc").bytes(), true},
        {"with a tail that is not announced", longer, true},
        {"with a priority", version_ten.bytes(), true},
        {"large", Wire_message{0x33, c_code, 50, Bytes(60000), 5, 0xFFFF, 0, 50}.bytes(), true},
    };
    for (const Case& one : cases) {
        send(one.bytes);
        if (one.taken) {
            EXPECT_EQ(service.cancelled.take(), one.bytes[12]) << one.what;
        }
        send(call("good").bytes());
        EXPECT_EQ(service.cancelled.take(), num) << "the good one after: " << one.what;
    }
    EXPECT_TRUE(service.cancelled.empty());
}

TEST_F(Relay, UdpPortsAreCounted) {
    EXPECT_EQ(add_udp(7000), 0);
    EXPECT_EQ(add_udp(7000), 0);
    const auto open = [] {
        const std::lock_guard lock(g_udp_map_lock);
        return g_udp_map.contains(7000);
    };
    del_udp(7000);
    EXPECT_TRUE(open());
    del_udp(7000);
    EXPECT_FALSE(open());
    EXPECT_EQ(add_udp(7000), 0);
    EXPECT_TRUE(open());
    Token token;
    token.alloc_header_force();
    token.get_header_packet()->initialize_packet(c_here, relay_clock(), 1);
    token.get_header_packet()->set_dst_port(7001);
    EXPECT_NE(send_udp(token, token.get_header_packet()), 0) << "no socket for it: stays the caller's";
    token.free();
}

}  // namespace
