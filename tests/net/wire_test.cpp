// Every byte that two processes exchange, checked by a peer with an encoder of its own.

#include <dlfcn.h>

#include <cmath>
#include <map>
#include <mutex>

#include "Vorn/options.h"
#include "net/support/kinds.h"
#include "programs/member.h"

using namespace net;

namespace {

class Wire : public Pair {};

/// Seconds that a time word stands for.
double seconds(std::uint16_t _word) {
    return std::ldexp(_word >> 6, (_word & 63) - 31 - 10);
}

TEST_F(Wire, OpeningRecordsAndTheGatePort) {
    address = service.open();
    const Raw_client raw(address.port);
    EXPECT_EQ(raw.open(), opening(address.port, raw.port()));

    const Raw_server server;
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    const Raw_connection connection = server.accept();
    Bytes hello = connection.read(1024);
    hello[1020] = hello[1021] = 0;  // the client's own port
    EXPECT_EQ(hello, opening(0, server.port()));
    // The gate port is the one that the service says, not the socket's; the banner is not compared.
    connection.send(Bytes(1020, 'X') + number(1, 2) + number(0x1234, 2));
    client.connected.take();
    EXPECT_EQ(client.self(), Addr(c_here, 0x1234));
    client.delegate({});
    EXPECT_EQ(connection.next().gport, 0x1234);
}

TEST_F(Wire, Requests) {
    auto& sender = make<Client>(0x0A0B);
    const Far_service far(sender);
    const Bytes gate = number(sender.self().port, 2);
    const auto expect_bytes = [&](const char* _first, const char* _rest) {
        EXPECT_EQ(far.connection.next().bytes(), hex(_first) + gate + hex(_rest)) << _rest;
    };
    sender.delegate(hex("de ad"), 3.0);
    expect_bytes("02 38", "21 c0 00 00 0b 0a 01 00 00 00 00 00 02 00 00 00 de ad");
    sender.delegate({}, 0.001);
    expect_bytes("02 38", "16 83 00 00 0b 0a 02 00 00 00 00 00 00 00 00 00");
    sender.wait(sender.ask(hex("07"), 0.5 / 1024));
    expect_bytes("02 30", "15 80 00 00 0b 0a 03 00 00 00 00 00 01 00 00 00 07");
    sender.delegate({}, c_no_limit);
    expect_bytes("02 38", "ff ff 00 00 0b 0a 04 00 00 00 00 00 00 00 00 00");
    sender.cancel(VORN_ERR_BUSY_);
    expect_bytes("02 33", "ff ff 00 00 0b 0a 00 00 06 00 00 80 00 00 00 00");
}

TEST_F(Wire, AnswersOfAService) {
    service.handler = [](const Bytes& _in, Bytes*) -> Error { return _in == text("fail") ? -77 : 0; };
    const Other_client raw(service.open());
    // The last three are of kinds that this service does not have.
    const struct {
        std::uint8_t type;
        std::uint16_t code;
        const char* payload;
        std::uint32_t error;
    } cases[] = {{0x30, c_code, "four", 0},          {0x38, c_code, "four", 0},          {0x30, c_code, "", 0},
                 {0x30, c_code, "fail", 0xFFFFFFB3}, {0x38, c_code, "fail", 0xFFFFFFB3}, {0x30, 99, "four", 0x80000003},
                 {0x38, 99, "four", 0x80000003},     {0x20, 99, "", 0x80000003},         {0x48, 99, "", 0x80000003},
                 {0x70, 99, "", 0x80000003}};
    std::uint16_t num = 0;
    for (const auto& one : cases) {
        Wire_message request = raw.call(++num, text(one.payload), one.type, one.code);
        request.limit = 0xC021;
        request.time = 0x8020;
        raw.send(request);
        Wire_message answer = raw.next();
        EXPECT_LT(seconds(answer.limit), 3.0);
        EXPECT_GE(seconds(answer.time), 1.0);
        EXPECT_NEAR(seconds(answer.limit) + seconds(answer.time), 4.0, 0.02);
        answer.limit = answer.time = 0;
        EXPECT_EQ(answer.bytes(),
                  (Wire_message{static_cast<std::uint8_t>(one.type + (one.error == 0 ? 1 : 2)), one.code, num,
                                text(one.error == 0 ? one.payload : ""), 0, 0, 0, one.error}
                       .bytes()))
            << "type " << int{one.type} << " payload " << one.payload;
    }
    // An event, a cancel for an unknown code and, in the standard profile, a late request get no answer.
    Wire_message late = raw.call(++num, {});
    late.limit = 0;
    for (const Wire_message& one : {raw.call(++num, {}, 0x45, 99), raw.call(++num, {}, 0x33, 99), late}) raw.send(one);
    if (g_options.expire_queued) {
        EXPECT_EQ(raw.next().bytes(), (Wire_message{0x32, c_code, late.num, {}, 0, 0xFFFF, 0, 0x80000005}.bytes()));
    }
    raw.send(raw.call(++num, text("end")));
    EXPECT_EQ(raw.next().num, num);
}

TEST_F(Wire, OnlyPlainReturnsAreAcknowledged) {
    const Far_service far(client);
    for (const Wire_message& answer :
         {Wire_message{0x31, c_code, 5, text("data"), 0, 0xC021, 0x8020, 0},
          Wire_message{0x39, c_code, 8, text("data")}, Wire_message{0x32, c_code, 9}, Wire_message{0x29, c_code, 10},
          Wire_message{0x41, c_code, 11}, Wire_message{0x21, 1000, 6, {}, 0x4321, 0xC021, 0, 9}}) {
        far.connection.send(answer);
        if (answer.type != 0x31 && answer.type != 0x21) continue;
        Wire_message expected = answer;
        expected.type = static_cast<std::uint8_t>(expected.type + 3);
        expected.payload.clear();
        EXPECT_EQ(far.connection.next(), expected);
    }
}

/// A return without a waiter becomes a cancel if its service is a client here, too: its accepted connection comes from
/// the very address that it serves.
TEST_F(Wire, ReturnWithoutAWaiterIsTurnedBack) {
    const auto shared = [](Port _port) {
        const int fd = stream();
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on);
        const sockaddr_in address = socket_address(_port);
        EXPECT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return fd;
    };
    const Raw_client their_client(service.open().port, 0, shared(0));
    their_client.open();
    ASSERT_TRUE(eventually([&] { return is_served(their_client.port()); }));
    const Raw_server their_server(shared(their_client.port()));
    ASSERT_EQ(client.start({c_here, their_server.port()}), 0);
    const Raw_connection connection = their_server.accept_open();
    client.connected.take();
    connection.send(Wire_message{0x32, c_code, 41});
    connection.send(Wire_message{0x31, c_code, 42, text("too late"), 0, 0xC021});
    EXPECT_EQ(their_client.next(), (Wire_message{0x33, c_code, 42, {}, 0, 0xFFFF, 0, 0x80000005}));
}

// --- all kinds -------------------------------------------------------------------------------------------

/// What this process has sent while it is recorded, by socket.
std::atomic<bool> g_is_recorded{false};
std::mutex g_sent_mutex;
std::map<int, Bytes> g_sent;

/// The messages sent up to now, sorted: without ports and times, heartbeats and names.
std::vector<Bytes> sent() {
    const std::lock_guard lock(g_sent_mutex);
    std::vector<Bytes> all;
    for (const auto& [fd, bytes] : g_sent) {
        for (std::size_t at = 0, size = 0; at + 20 <= bytes.size(); at += size) {
            const bool is_opening = bytes[at] == 'H';
            size = is_opening ? 1024 : 20U + bytes[at + 16] + bytes[at + 17] * 256U;
            if (is_opening || bytes[at + 1] == 0 || bytes[at + 1] == 3) continue;
            all.emplace_back(&bytes[at], &bytes[at] + size);
            std::fill_n(&all.back()[2], 6, 0);
        }
    }
    g_sent.clear();
    std::ranges::sort(all);
    return all;
}

}  // namespace

// In front of the library's function, for all of this program.
extern "C" ssize_t sendmsg(int _fd, const msghdr* _message, int _flags) {
    using sendmsg_t = ssize_t(int, const msghdr*, int);
    static sendmsg_t* const send = reinterpret_cast<sendmsg_t*>(::dlsym(RTLD_NEXT, "sendmsg"));
    const ssize_t moved = send(_fd, _message, _flags);
    if (!g_is_recorded || moved <= 0) return moved;
    const std::lock_guard lock(g_sent_mutex);
    auto left = static_cast<std::size_t>(moved);
    for (std::size_t i = 0; left != 0; ++i) {
        const auto* const bytes = static_cast<const std::uint8_t*>(_message->msg_iov[i].iov_base);
        const std::size_t size = std::min(left, _message->msg_iov[i].iov_len);
        g_sent[_fd].insert(g_sent[_fd].end(), bytes, bytes + size);
        left -= size;
    }
    return moved;
}

namespace {

/// One exchange of all kinds, with both forms of requests and of links.
TEST_F(Wire, BothProfilesSayTheSame) {
    std::vector<Bytes> said[2];
    for (const bool reliable : {false, true}) {
        finalize();
        ASSERT_EQ(initialize(reliable ? Runtime_options::reliable() : Runtime_options::standard()), 0);
        g_is_recorded = true;
        auto& stub = make<Service>();
        auto& proxy = make<Client>();
        Log came;
        const auto put = [&came](const void*, Pksize) { return came.put("came"), 0; };
        const Ends<Event_service, Event_client> events{make<Event_service>(c_code, stub),
                                                       make<Event_client>(c_code, proxy)};
        using Values = Ends<Information_service, Information_client>;
        const auto make_values = [&](Msg_code _code) {
            return Values{make<Information_service>(_code, stub), make<Information_client>(_code, proxy)};
        };
        const Values by_stream = make_values(1), by_datagram = make_values(2);
        const Ends<Command_service, Command_client> commands{make<Command_service>(c_code, stub),
                                                             make<Command_client>(c_code, proxy)};
        make<Stub_signal>(c_code, stub, nullptr);
        auto& signal = make<peer::Member<Proxy_signal>>(put, c_code, proxy);
        auto& datagrams = make<Stub_datagram>(c_code, stub);
        make<peer::Member<Proxy_datagram>>(put, c_code, proxy);

        proxy.connect(stub.open());
        stub.gate.close();
        Waiter waiter(proxy, proxy.ask(text("waited for")));
        stub.gate.open();
        EXPECT_EQ(waiter.answer().err, 0);
        proxy.delegate_and_take(pattern(30000));
        proxy.cancel(0);
        stub.cancelled.take();
        Msg_num num = 0;
        signal.delegate_signal(&num, "signal", 6, 20);
        came.take();
        datagrams.cast(c_here, "datagram", 8);
        came.take();
        const auto link = [](const auto& _ends, auto... _form) {
            EXPECT_EQ(_ends.client.await_link(&_ends.service.gate, _form...), "link 0");
            _ends.client.unlink();
            EXPECT_EQ(_ends.service.log.take(), "unlink 0");
            EXPECT_EQ(_ends.client.link(_form...), "link 0");
            _ends.pass("value");
            _ends.service.unlink_all_proxy();
            EXPECT_EQ(_ends.client.log.take(), "unlink 0");
        };
        link(events);
        link(by_stream, true);
        link(by_datagram, false);
        link(commands);
        proxy.stop();
        stub.disconnected.take();
        stub.stop();
        g_is_recorded = false;
        said[reliable ? 1 : 0] = sent();
    }
    EXPECT_GT(said[0].size(), 30U);
    ASSERT_EQ(said[0].size(), said[1].size());
    for (std::size_t i = 0; i < said[0].size(); ++i) EXPECT_EQ(said[0][i], said[1][i]) << i;
}

// --- the directory of names ------------------------------------------------------------------------------

TEST_F(Wire, DirectoryDatagram) {
    const std::string twenty = "twenty-characters-20";
    const std::string twenty_one = "twenty-1-characters-x";
    const Port first = service.open(twenty.c_str()).port;
    const Port second = make<Service>().open((twenty_one + " and more").c_str()).port;
    make<Service>().open();  // unnamed
    const Raw_socket socket = datagram_socket(c_directory_port);
    Bytes packet(2000);
    // Until both names are in it, in their order.
    for (ssize_t length = 0; length != 20 + 8 + 2 * 32;)
        ASSERT_GT(length = ::recv(socket.fd, packet.data(), packet.size(), 0), 0);
    EXPECT_EQ(Bytes(&packet[0], &packet[6]), hex("02 03 00 00 ff ff"));
    EXPECT_EQ(Bytes(&packet[8], &packet[24]), hex("01 00 00 00 00 00 00 00 48 00 00 00 02 00 20 00"));
    EXPECT_EQ(Bytes(&packet[28 + 8], &packet[28 + 31]), number(second, 2) + text(twenty_one));
    EXPECT_EQ(Bytes(&packet[60 + 8], &packet[60 + 31]), number(first, 2) + text(twenty) + Bytes{0});
    // Its own names come back to it.
    Addr found;
    EXPECT_TRUE(eventually([&] { return get_address(twenty.c_str(), &found) == 1; }));
    EXPECT_EQ(found.port, first);
}

Bytes directory(std::uint16_t _size, std::uint16_t _record_size, const Bytes& _records) {
    return number(_size, 2) + number(_record_size, 2) + hex("aa aa aa aa") + _records;
}
Bytes entry(std::uint16_t _port, const std::string& _name, std::size_t _size = 32) {
    Bytes bytes = Bytes(8, 0xEE) + number(_port, 2) + text(_name);
    bytes.resize(_size, 0);
    return bytes;
}
/// A directory datagram with any payload, from this host's loopback.
void say(const Bytes& _payload, std::uint16_t _code = 1) {
    const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    socket.send_to(c_directory_port, Wire_message{3, _code, 0, _payload}.bytes());
}
/// The port under a name; 0 when there is none.
Port port_of(const std::string& _name) {
    Addr found(c_here, 0);
    get_address(_name.c_str(), &found);
    EXPECT_EQ(found.ip, c_here);
    return found.port;
}
/// Says it until it is heard: the runtime refuses a directory that comes while others wait.
bool heard(const Bytes& _payload, const std::string& _name, Port _port) {
    return eventually([&] {
        say(_payload);
        return port_of(_name) == _port;
    });
}

TEST_F(Wire, DirectoriesThatAreHeard) {
    const std::string full(22, 'l');  // its record has no terminator
    EXPECT_TRUE(heard(directory(2, 32, entry(10, "a") + entry(11, "b")), "b", 11));
    EXPECT_EQ(port_of("a"), 10);
    EXPECT_TRUE(heard(directory(1, 32, entry(12, "a")), "a", 12)) << "the last one wins";
    EXPECT_TRUE(heard(directory(2, 40, entry(13, "c", 40) + entry(14, "d", 40)), "d", 14)) << "longer records";
    EXPECT_TRUE(heard(directory(2, 32, entry(16, full) + entry(17, "after")), "after", 17));
    EXPECT_EQ(port_of(full), 16);
    EXPECT_TRUE(heard(directory(1, 32, entry(18, "open", 14)), "open", 18)) << "cut behind its name";
    // Lies about the length, what is too short to be one, and another code.
    for (const std::uint16_t record_size : {0, 1, 31, 33, 0xFFFF})
        EXPECT_TRUE(heard(directory(0xFFFF, record_size, entry(record_size, "e")), "e", record_size));
    const Bytes whole = directory(3, 32, entry(21, "x"));
    for (int length = 0; length < 18; ++length) say(Bytes(whole.begin(), whole.begin() + length));
    say(directory(1, 32, entry(22, "wrong code")), 2);
    EXPECT_TRUE(heard(directory(1, 32, entry(23, "end")), "end", 23));
    EXPECT_EQ(port_of("x") + port_of("wrong code"), 0);
}

TEST_F(Wire, NamesLiveEightBeats) {
    EXPECT_TRUE(heard(directory(1, 32, entry(10, "mortal")), "mortal", 10));
    const Exclusive_hold hold;
    int& ttl = gp_processor->named_remote_stubes.at("mortal").ttl;
    EXPECT_TRUE(ttl == 8 || ttl == 7) << ttl;  // one beat may have fallen in between
    while (ttl > 1) gp_processor->countdown_remote_stubes_info();
    EXPECT_TRUE(gp_processor->named_remote_stubes.contains("mortal"));
    gp_processor->countdown_remote_stubes_info();
    EXPECT_FALSE(gp_processor->named_remote_stubes.contains("mortal"));
}

}  // namespace
