// Datagrams.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Datagram : public Runtime {};

/// Broadcasts of this host come from here.
const IP c_lan = Vorn35::inet_addr("198.51.100.1");

/// Each host is a member.
constexpr const char* c_all_hosts = "224.0.0.1";

class Called : public Serving<Stub_call> {
public:
    Called() : Serving(c_code, Pksize{0}) {}

private:
    Error on_call(Addr, const void* _data, Pksize _size, void*, Pksize*, double, double) override {
        log.put(bytes_of(_data, _size));
        return 0;
    }
};

class Receiver : public Calling<Proxy_datagram> {
public:
    using Calling::Calling;
    Receiver() : Calling(c_code) {}

    Events<std::pair<Addr, std::string>> got;

private:
    void on_datagram(Addr _from, const void* _data, Pksize _size, double _elapsed) override {
        EXPECT_GE(_elapsed, 0);
        EXPECT_EQ(_data == nullptr, _size == 0);
        got.put({_from, bytes_of(_data, _size)});
    }
};

TEST_F(Datagram, CastWithAndWithoutConnection) {
    auto& stub = make<Serving<Stub>>();
    auto& sender = make<Stub_datagram>(c_code, stub);
    auto& unheard = make<Stub_datagram>(Msg_code{99}, stub);
    auto& proxy = make<Calling<Proxy_datagram>>(Msg_code{1});
    auto& receiver = make<Receiver>(c_code, proxy);
    EXPECT_EQ(sender.cast(c_here, "x", 1), VORN_ERR_IS_NOT_CREATED_);
    const Addr service = stub.open();
    proxy.connect(service);
    EXPECT_EQ(sender.cast(c_here, pattern<std::string>(65001).data(), 65001), VORN_ERR_TOO_BIG_SIZE_);
    EXPECT_EQ(unheard.cast(c_here, "x", 1), 0);
    for (const std::string& data : {std::string("one"), std::string(), pattern<std::string>(65000)}) {
        EXPECT_EQ(sender.cast(c_here, data.data(), static_cast<Pksize>(data.size())), 0);
        const auto [from, got] = receiver.got.take();
        EXPECT_EQ(from, service);
        EXPECT_TRUE(got == data) << got.size();
    }
    // Nobody accepts this one's connection, and datagrams come all the same. They go to all, since there are
    // two sockets of this port here.
    const Raw_server silent;
    auto& unconnected = make<Receiver>();
    ASSERT_EQ(unconnected.start({c_lan, silent.port()}), 0);
    const Raw_socket raw = datagram_socket(silent.port());
    raw.set(SOL_SOCKET, SO_BROADCAST, 1);
    const Bytes bytes = Wire_message{6, c_code, 1, text("raw")}.bytes();
    const sockaddr_in all = socket_address(silent.port(), "255.255.255.255");
    ::sendto(raw.fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&all), sizeof all);
    EXPECT_EQ(unconnected.got.take().second, "raw");
    EXPECT_FALSE(unconnected.is_connected());
}

TEST_F(Datagram, BroadcastReachesEverySocketOfThePort) {
    auto& stub = make<Serving<Stub>>();
    auto& sender = make<Stub_datagram>(c_code, stub);
    const Addr service = stub.open();
    auto& receiver = make<Receiver>();
    receiver.connect({c_lan, service.port});
    const Raw_socket raw = datagram_socket(service.port);
    EXPECT_EQ(sender.broadcast("all", 3), 0);
    EXPECT_EQ(receiver.got.take().second, "all");
    Bytes bytes = raw.read(23);
    for (const int own : {6, 7, 10, 11}) bytes[static_cast<std::size_t>(own)] = 0;  // its time and number
    EXPECT_EQ(bytes, (Wire_message{6, c_code, 0, text("all")}.bytes()));
}

TEST_F(Datagram, AGroupOfTheHostReachesClientsAndNoService) {
    auto& service = make<Called>();
    auto& sender = make<Stub_datagram>(c_code, service);
    const Addr addr = service.open();
    const Raw_socket raw = datagram_socket(0);
    const auto call_at = [&](const char* _ip, std::uint16_t _num, const char* _data) {
        const sockaddr_in to = socket_address(addr.port, _ip);
        const auto bytes =
            Wire_message{static_cast<std::uint8_t>(EMsg::call), c_code, _num, text(_data), addr.port}.bytes();
        ::sendto(raw.fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    };
    call_at(c_all_hosts, 1, "to the group");
    call_at("127.0.0.1", 2, "to the service");
    EXPECT_EQ(service.log.take(), "to the service");

    auto& receiver = make<Receiver>();
    receiver.connect({c_lan, addr.port});
    EXPECT_EQ(sender.cast(Vorn35::inet_addr(c_all_hosts), "all", 3), 0);
    EXPECT_EQ(receiver.got.take().second, "all");
}

}  // namespace
