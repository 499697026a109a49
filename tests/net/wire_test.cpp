// Every byte that two processes exchange, checked by a peer with an encoder of its own.

#include <cmath>

#include "net/support/objects.h"

using namespace net;

namespace {

class Wire : public Runtime {
protected:
    /// A client that is connected to a raw service.
    struct Dialogue {
        Raw_server server;
        Raw_connection connection;
    };
    static Dialogue dial(Client& _client) {
        Raw_server server;
        EXPECT_EQ(_client.start({c_here, server.port()}), 0);
        Raw_connection connection = server.accept_open();
        _client.connected.take();
        return {std::move(server), std::move(connection)};
    }
};

/// Seconds that a time word stands for.
double seconds(std::uint16_t _word) {
    return std::ldexp(_word >> 6, (_word & 63) - 31 - 10);
}

TEST_F(Wire, OpeningRecordOfTheService) {
    const Addr service = make<Service>().open();
    const Raw_client raw(service.port);
    EXPECT_EQ(raw.open(), opening(service.port, raw.port()));
}

TEST_F(Wire, OpeningRecordOfTheClientAndItsGatePort) {
    auto& client = make<Client>();
    const Raw_server server;
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    const Raw_connection connection = server.accept();
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    ::getpeername(connection.fd, reinterpret_cast<sockaddr*>(&peer), &length);
    EXPECT_EQ(connection.read(1024), opening(ntohs(peer.sin_port), server.port()));
    // Known from now on by the port that the service says, whatever its own is; the banner is not compared.
    Bytes answer = opening(1, 0x1234);
    answer[0] = 'X';
    connection.send(answer);
    client.connected.take();
    Addr here;
    Addr there;
    ASSERT_EQ(client.get_address(&here, &there), 0);
    EXPECT_EQ(here, Addr(c_here, 0x1234));
    EXPECT_EQ(there, Addr(c_here, server.port()));
    client.delegate({});
    EXPECT_EQ(connection.next().gport, 0x1234);
}

TEST_F(Wire, Requests) {
    auto& client = make<Client>(0x0A0B);
    const Dialogue with = dial(client);
    Addr here;
    Addr there;
    ASSERT_EQ(client.get_address(&here, &there), 0);
    const Bytes gate = number(here.port, 2);
    const auto expect_bytes = [&](const char* _first, const char* _rest) {
        EXPECT_EQ(with.connection.next().bytes(), hex(_first) + gate + hex(_rest)) << _rest;
    };
    client.delegate(hex("de ad"), 3.0);
    expect_bytes("02 38", "21 c0 00 00 0b 0a 01 00 00 00 00 00 02 00 00 00 de ad");
    client.delegate({}, 0.001);
    expect_bytes("02 38", "16 83 00 00 0b 0a 02 00 00 00 00 00 00 00 00 00");
    client.wait(client.ask(hex("07"), 0.5 / 1024));
    expect_bytes("02 30", "15 80 00 00 0b 0a 03 00 00 00 00 00 01 00 00 00 07");
    client.delegate({}, c_no_limit);
    expect_bytes("02 38", "ff ff 00 00 0b 0a 04 00 00 00 00 00 00 00 00 00");
    client.cancel(VORN_ERR_BUSY_);
    expect_bytes("02 33", "ff ff 00 00 0b 0a 00 00 06 00 00 80 00 00 00 00");
}

TEST_F(Wire, AnswersOfAService) {
    auto& service = make<Service>([](const Bytes& _in, Bytes*) -> Error { return _in == text("fail") ? -77 : 0; });
    const Addr address = service.open();
    const Raw_client raw(address.port);
    raw.open();
    struct Case {
        std::uint8_t type;
        std::uint16_t code;
        const char* payload;
        std::uint32_t error;
    };
    // The last three: kinds that nobody serves here.
    const Case cases[] = {
        {0x30, c_code, "four", 0},          {0x38, c_code, "four", 0},          {0x30, c_code, "", 0},
        {0x30, c_code, "fail", 0xFFFFFFB3}, {0x38, c_code, "fail", 0xFFFFFFB3}, {0x30, 99, "four", 0x80000003},
        {0x38, 99, "four", 0x80000003},     {0x20, 99, "", 0x80000003},         {0x48, 99, "", 0x80000003},
        {0x70, 99, "", 0x80000003}};
    std::uint16_t num = 0;
    for (const Case& one : cases) {
        Wire_message request = raw.call(++num, text(one.payload), one.type, one.code);
        request.limit = 0xC021;
        request.time = 0x8020;
        raw.send(request);
        Wire_message answer = raw.next();
        EXPECT_LT(seconds(answer.limit), 3.0);
        EXPECT_GE(seconds(answer.limit), 3.0 - 25);
        EXPECT_GE(seconds(answer.time), 1.0);
        EXPECT_NEAR(seconds(answer.limit) + seconds(answer.time), 4.0, 0.02);
        answer.limit = 0xFFFF;
        answer.time = 0;
        EXPECT_EQ(answer.bytes(),
                  (Wire_message{static_cast<std::uint8_t>(one.type + (one.error == 0 ? 1 : 2)), one.code, num,
                                text(one.error == 0 ? one.payload : ""), 0, 0xFFFF, 0, one.error}
                       .bytes()))
            << "type " << int{one.type} << " payload " << one.payload;
    }
    // An event to nobody, and a cancel for a code that nobody has, are not answered; nor is what is late.
    raw.send(raw.call(++num, {}, 0x45, 99));
    raw.send(raw.call(++num, {}, 0x33, 99));
    Wire_message late = raw.call(++num, {});
    late.limit = 0;
    raw.send(late);
    raw.send(raw.call(++num, text("end")));
    EXPECT_EQ(raw.next().num, num);
}

TEST_F(Wire, NobodyUnderThatPort) {
    const Addr address = make<Service>().open();
    const Raw_client raw(address.port);
    raw.send(opening(raw.port(), 4));
    raw.read(1024);
    raw.send(raw.call(1, text("x"), 0x45));
    raw.send(raw.call(2, text("x")));
    const Wire_message answer = raw.next();
    EXPECT_EQ(answer.type, 0x32);
    EXPECT_EQ(answer.num, 2);
    EXPECT_EQ(answer.error, 0x80000002U);
    EXPECT_TRUE(answer.payload.empty());
}

TEST_F(Wire, PlainReturnsAreAcknowledgedAndNothingElse) {
    auto& client = make<Client>();
    const Dialogue with = dial(client);
    struct Case {
        Wire_message answer;
        bool acknowledged;
    };
    const Case cases[] = {
        {{0x31, c_code, 5, text("data"), 0, 0xC021, 0x8020, 0}, true},
        {{0x31, 1000, 6, {}, 0x4321, 0xC021, 0, 9}, true},
        {{0x21, c_code, 7}, true},
        {{0x39, c_code, 8, text("data")}, false},
        {{0x32, c_code, 9}, false},
        {{0x29, c_code, 10}, false},
        {{0x41, c_code, 11}, false},
    };
    for (const Case& one : cases) {
        with.connection.send(one.answer);
        if (one.acknowledged) {
            Wire_message expected = one.answer;
            expected.type = static_cast<std::uint8_t>(expected.type + 3);
            expected.payload.clear();
            EXPECT_EQ(with.connection.next().bytes(), expected.bytes());
        }
    }
    // Whatever came of the others came before this.
    with.connection.send(Wire_message{0x31, c_code, 12});
    EXPECT_EQ(with.connection.next().num, 12);
}

TEST_F(Wire, AnswerThatNobodyWaitsForIsTurnedBackIfTheServiceIsAClientToo) {
    // The far end has an accepted connection here from the very address that it serves.
    const auto shared = [] {
        const int fd = stream();
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
        return fd;
    };
    const int fd = shared();
    const sockaddr_in any = socket_address(0);
    ::bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any);
    const Addr mine = make<Service>().open();
    const Raw_client their_client(mine.port, 0, fd);
    their_client.open();
    ASSERT_TRUE(eventually([&] { return is_served(their_client.port()); }));
    const Raw_server their_server(shared(), their_client.port());
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, their_server.port()}), 0);
    const Raw_connection connection = their_server.accept_open();
    client.connected.take();
    connection.send(Wire_message{0x32, c_code, 41});
    connection.send(Wire_message{0x31, c_code, 42, text("too late"), 0, 0xC021});
    EXPECT_EQ(their_client.next(), (Wire_message{0x33, c_code, 42, {}, 0, 0xFFFF, 0, 0x80000005}));
}

TEST_F(Wire, HeartbeatsBothWays) {
    const Raw_client raw(make<Service>().open().port);
    raw.open();
    auto& client = make<Client>();
    const Dialogue with = dial(client);
    EXPECT_TRUE(with.connection.any().is_heartbeat());
    while (raw.readable(0)) EXPECT_TRUE(raw.any().is_heartbeat());
    EXPECT_TRUE(raw.any().is_heartbeat());
    const auto first = std::chrono::steady_clock::now();
    EXPECT_TRUE(raw.any().is_heartbeat());
    EXPECT_GT(std::chrono::steady_clock::now() - first, std::chrono::milliseconds(200)) << "a second but for our delay";
}

TEST_F(Wire, StreamInSingleBytes) {
    const Addr address = make<Service>().open();
    const Raw_client raw(address.port);
    for (const std::uint8_t byte : opening(raw.port(), address.port)) raw.send(Bytes{byte});
    EXPECT_EQ(raw.read(1024).size(), 1024U);
    for (const std::uint8_t byte : raw.call(1, text("slowly")).bytes()) raw.send(Bytes{byte});
    EXPECT_EQ(raw.next().payload, text("slowly"));
    // And the other way: many messages in one piece, heartbeats and unknown acknowledgements between them.
    Bytes all;
    for (std::uint16_t num = 2; num < 12; ++num) {
        all = all + raw.call(num, text("fast")).bytes() + Wire_message{}.bytes() + raw.call(num, {}, 0x34).bytes();
    }
    raw.send(all);
    std::vector<bool> seen(12);
    for (std::uint16_t num = 2; num < 12; ++num) seen[raw.next().num] = true;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 10);
}

// --- the directory of names ------------------------------------------------------------------------------

TEST_F(Wire, DirectoryDatagram) {
    const std::string twenty = "twenty-characters-20";
    const std::string twenty_one = "twenty-1-characters-x";
    const Port first = make<Service>().open(twenty.c_str()).port;
    const Port second = make<Service>().open((twenty_one + " and more").c_str()).port;
    make<Service>().open();  // unnamed
    const Raw_socket socket = datagram_socket(9845);
    Bytes packet(2000);
    sockaddr_in from{};
    // Until both names are in it.
    for (ssize_t length = 0; length != 20 + 8 + 2 * 32;) {
        socklen_t size = sizeof from;
        length = ::recvfrom(socket.fd, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
        ASSERT_GT(length, 0);
    }
    EXPECT_EQ(ntohs(from.sin_port), 9845);
    EXPECT_EQ(Bytes(&packet[0], &packet[6]), hex("02 03 00 00 ff ff"));
    EXPECT_LT(seconds(static_cast<std::uint16_t>(packet[6] | packet[7] << 8)), 25.0);
    EXPECT_EQ(Bytes(&packet[8], &packet[24]), hex("01 00 00 00 00 00 00 00 48 00 00 00 02 00 20 00"));
    // In the order of the names.
    EXPECT_EQ(Bytes(&packet[28 + 8], &packet[28 + 31]), number(second, 2) + text(twenty_one));
    EXPECT_EQ(Bytes(&packet[60 + 8], &packet[60 + 31]), number(first, 2) + text(twenty) + Bytes{0});
    // Its own names come back to it.
    Addr found;
    EXPECT_TRUE(eventually([&] { return get_address(twenty.c_str(), &found) == 1; }));
    EXPECT_EQ(found.port, first);
}

/// A directory datagram with any payload, from this host's loopback.
void say(const Bytes& _payload, std::uint16_t _code = 1) {
    const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const Bytes datagram = Wire_message{3, _code, 0, _payload}.bytes();
    const sockaddr_in to = socket_address(9845);
    EXPECT_EQ(
        ::sendto(socket.fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to),
        static_cast<ssize_t>(datagram.size()));
}
Bytes directory(std::uint16_t _size, std::uint16_t _record_size, const Bytes& _records) {
    return number(_size, 2) + number(_record_size, 2) + hex("aa aa aa aa") + _records;
}
Bytes entry(std::uint16_t _port, const std::string& _name, std::size_t _size = 32) {
    Bytes bytes = Bytes(8, 0xEE) + number(_port, 2) + text(_name);
    bytes.resize(_size, 0);
    return bytes;
}
/// The port under a name; 0 when there is none.
Port port_of(const char* _name) {
    Addr found;
    if (get_address(_name, &found) == 0) return 0;
    EXPECT_EQ(found.ip, c_here);
    return found.port;
}
/// Says it until it is heard: a directory that comes while others wait is refused.
bool heard(const Bytes& _payload, const char* _name, Port _port) {
    return eventually([&] {
        say(_payload);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return port_of(_name) == _port;
    });
}

TEST_F(Wire, DirectoriesThatAreHeard) {
    Addr untouched(1, 2);
    EXPECT_EQ(get_address("a", &untouched), 0U);
    EXPECT_EQ(untouched, Addr(1, 2));
    EXPECT_TRUE(heard(directory(2, 32, entry(10, "a") + entry(11, "b")), "b", 11));
    EXPECT_EQ(port_of("a"), 10);
    EXPECT_TRUE(heard(directory(1, 32, entry(12, "a")), "a", 12)) << "the last heard wins";
    EXPECT_TRUE(heard(directory(2, 40, entry(13, "c", 40) + entry(14, "d", 40)), "d", 14)) << "longer records";
    EXPECT_TRUE(heard(directory(1, 32, entry(15, "")), "", 15));
    // 22 characters, without a terminator in the record: the name ends with it.
    const std::string long_name(22, 'l');
    EXPECT_TRUE(heard(directory(2, 32, entry(16, long_name) + entry(17, "after")), "after", 17));
    EXPECT_EQ(port_of(long_name.c_str()), 16);
    EXPECT_TRUE(heard(directory(1, 32, entry(18, "open", 14)), "open", 18)) << "cut behind its name";
    // Lies about the length, and what is too short to be one: nothing comes of what is not there.
    for (const std::uint16_t record_size : {0, 1, 31, 33, 0xFFFF}) {
        say(directory(0xFFFF, record_size, entry(19, "e")));
        EXPECT_TRUE(heard(directory(0xFFFF, record_size, entry(20, "e")), "e", 20)) << record_size;
    }
    for (std::size_t length = 0; length < 18; ++length) {
        Bytes cut = directory(3, 32, entry(21, "x"));
        cut.resize(length);
        say(cut);
    }
    say(directory(1, 32, entry(22, "wrong code")), 2);
    EXPECT_TRUE(heard(directory(1, 32, entry(23, "end")), "end", 23));
    EXPECT_EQ(port_of("x") + port_of("wrong code"), 0);
}

TEST_F(Wire, NamesLiveEightBeats) {
    ASSERT_TRUE(heard(directory(1, 32, entry(10, "mortal")), "mortal", 10));
    auto& ttl = []() -> int& {
        const Exclusive_hold hold;
        return gp_processor->named_remote_stubes.at("mortal").ttl;
    }();
    const auto restored_to_eight = [&] {  // unless a beat falls in between
        say(directory(1, 32, entry(10, "mortal")));
        const Exclusive_hold hold;
        EXPECT_LE(ttl, 8);
        return ttl == 8;
    };
    ASSERT_TRUE(eventually(restored_to_eight));
    {
        const Exclusive_hold hold;
        ttl = 8;
        for (int beat = ttl; beat > 1; --beat) gp_processor->countdown_remote_stubes_info();
        EXPECT_TRUE(gp_processor->named_remote_stubes.contains("mortal"));
        ttl = 3;
    }
    ASSERT_TRUE(eventually(restored_to_eight));
    const Exclusive_hold hold;
    for (int beat = ttl; beat > 0; --beat) gp_processor->countdown_remote_stubes_info();
    EXPECT_FALSE(gp_processor->named_remote_stubes.contains("mortal"));
}

}  // namespace
