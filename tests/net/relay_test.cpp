// The relay under peers that behave badly, all at once, or not at all.

#include <fcntl.h>

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
enum Stage { connected, half_opening, opened, exchanged, half_header, half_payload, served, c_stages };

void go(const Raw_connection& _connection, const Bytes& _opening, const Bytes& _message, int _stage) {
    if (_stage >= half_opening) _connection.send(Bytes(_opening.begin(), _opening.begin() + 500));
    if (_stage >= opened) _connection.send(Bytes(_opening.begin() + 500, _opening.end()));
    if (_stage >= exchanged) _connection.read(1024);
    const auto length = static_cast<std::ptrdiff_t>(_message.size());
    const std::ptrdiff_t lengths[] = {0, 0, 0, 0, 10, 25, length};
    _connection.send(Bytes(_message.begin(), _message.begin() + lengths[_stage]));
}

TEST_F(Relay, ClientsThatVanishAtEachStage) {
    auto& service = make<Service>();
    const Addr address = service.open();
    for (const bool by_reset : {false, true}) {
        for (int stage = 0; stage < c_stages; ++stage) {
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
        for (int stage = 0; stage < c_stages; ++stage) {
            Raw_connection connection = reconnected(server);
            go(connection, opening(server.port(), 1000), message, stage);
            if (stage >= exchanged) {
                client.connected.take();
                ++up;
            }
            if (stage == served) client.returned.take();
            by_reset ? connection.reset() : connection.close();
        }
    }
    const Raw_connection last = reconnected(server);
    go(last, opening(server.port(), 1000), message, served);
    client.connected.take();
    EXPECT_EQ(client.returned.take().data, text("payload"));
    // No attempt that failed was reported, and no loss twice.
    EXPECT_TRUE(eventually([&] { return client.disconnected.size() >= up; }));
    EXPECT_LE(client.disconnected.size(), up + 2U * 1);
    EXPECT_TRUE(eventually([] { return records() == 1; }));
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
    const Raw_server late_reader;
    auto& stuck_client = make<Client>();
    ASSERT_EQ(stuck_client.start({c_here, late_reader.port()}), 0);
    const Raw_connection reads_late = late_reader.accept_open();
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
    // What is undelivered would come back, and be lost with the pipe.
    for (int i = 0; i < 8; ++i) EXPECT_EQ(reads_late.next().payload, Bytes(4 << 20));
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
        ASSERT_TRUE(eventually([&] { return is_served(raw.port()); }));
        auto* const record = with_server_record(raw.port(), [](auto* _record) { return _record; });
        ASSERT_TRUE(eventually([&] {
            const std::lock_guard lock(record->send_queue_lock);
            return !record->send_queue.empty() && record->send_queue.back().has_data();  // no heartbeat
        }));
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

TEST_F(Relay, DatagramsOfEveryLengthAndThenAGoodOne) {
    auto& service = make<Service>();
    const Addr address = service.open();
    const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in to = socket_address(address.port);
    const auto send = [&](const Bytes& _bytes) {
        ::sendto(socket.fd, _bytes.data(), _bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    };
    /// A cancel by datagram reaches the member like any other; no number, so that none is taken for a repeat.
    const auto cancel = [](std::uint32_t _error, const Bytes& _payload = {}, std::uint8_t _first = 2) {
        return Wire_message{0x33, c_code, 0, _payload, 5, 0xFFFF, 0, _error, _first}.bytes();
    };
    const auto cut = [](Bytes _bytes) {
        _bytes.pop_back();
        return _bytes;
    };
    Bytes two_gib = cancel(1);
    two_gib[19] = 0x7F;
    const Bytes dropped[] = {{}, cut(cancel(1)), cancel(1, {}, 1), cut(cancel(1, text("abc"))), two_gib};
    // With a tail that is not announced, and of version 2 with a priority.
    const Bytes taken[] = {cancel(2), cancel(2, text("abc")), cancel(2) + Bytes{1}, cancel(2, {}, 0x0A),
                           cancel(2, Bytes(60000))};
    for (const Bytes& bytes : dropped) {
        send(bytes);
        send(cancel(3));
        EXPECT_EQ(service.cancelled.take(), 3) << "after " << bytes.size() << " bytes";
    }
    for (const Bytes& bytes : taken) {
        send(bytes);
        EXPECT_EQ(service.cancelled.take(), 2) << bytes.size() << " bytes";
    }
    EXPECT_TRUE(service.cancelled.empty());
}

TEST_F(Relay, UdpPortsAreCounted) {
    const auto open = [] {
        const std::lock_guard lock(g_udp_map_lock);
        return g_udp_map.contains(7000);
    };
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(add_udp(7000), 0);
        EXPECT_EQ(add_udp(7000), 0);
        del_udp(7000);
        EXPECT_TRUE(open());
        del_udp(7000);
        EXPECT_FALSE(open());
    }
    Token token;
    token.alloc_header_force();
    token.get_header_packet()->initialize_packet(c_here, relay_clock(), 1);
    token.get_header_packet()->set_dst_port(7000);
    EXPECT_NE(send_udp(token, token.get_header_packet()), 0) << "no socket for it: stays the caller's";
    token.free();
}

}  // namespace
