// Datagrams.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Datagram : public Pair {
protected:
    Stub_datagram& sender = make<Stub_datagram>(c_code, service);
};

/// Broadcasts of this host come from here.
const IP c_lan = Vorn35::inet_addr("198.51.100.1");

class Receiver : public Calling<Proxy_datagram> {
public:
    using Calling::Calling;
    Receiver() : Calling(c_code) {}

    Events<std::pair<Addr, std::string>> got;

private:
    void on_datagram(Addr _from, const void* _data, Pksize _size, double _elapsed) override {
        EXPECT_TRUE(_elapsed >= 0 && (_data == nullptr) == (_size == 0));
        got.put({_from, bytes_of(_data, _size)});
    }
};

TEST_F(Datagram, CastWithAndWithoutConnection) {
    auto& unheard = make<Stub_datagram>(Msg_code{99}, service);
    auto& receiver = make<Receiver>(c_code, client);
    EXPECT_EQ(sender.cast(c_here, "x", 1), VORN_ERR_IS_NOT_CREATED_);
    connect();
    EXPECT_EQ(sender.cast(c_here, pattern<std::string>(65001).data(), 65001), VORN_ERR_TOO_BIG_SIZE_);
    EXPECT_EQ(unheard.cast(c_here, "x", 1), 0);
    for (const std::string& data : {std::string("one"), std::string(), pattern<std::string>(65000)}) {
        EXPECT_EQ(sender.cast(c_here, data.data(), static_cast<Pksize>(data.size())), 0);
        const auto [from, got] = receiver.got.take();
        EXPECT_EQ(from, address);
        EXPECT_TRUE(got == data) << got.size();
    }
    // A client whose connection is not accepted receives, too. To all, since there are two sockets of this port.
    const Raw_server silent;
    auto& unconnected = make<Receiver>();
    ASSERT_EQ(unconnected.start({c_lan, silent.port()}), 0);
    const Raw_socket raw = datagram_socket(silent.port());
    raw.set(SOL_SOCKET, SO_BROADCAST, 1);
    raw.send_to(silent.port(), Wire_message{6, c_code, 1, text("raw")}.bytes(), "255.255.255.255");
    EXPECT_EQ(unconnected.got.take().second, "raw");
    EXPECT_FALSE(unconnected.is_connected());
}

}  // namespace
