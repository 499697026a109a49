// Datagrams; and a service and a client that are of all six kinds at once.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Datagram : public Runtime {};

/// Broadcasts of this host come from here.
const IP c_lan = Vorn35::inet_addr("198.51.100.1");

class Receiver : public Calling<Proxy_datagram> {
public:
    explicit Receiver(Msg_code _code = c_code) : Calling(_code) {}
    Receiver(const Proxy& _proxy, Msg_code _code) : Calling(_code, _proxy) {}

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
    auto& receiver = make<Receiver>(proxy, c_code);
    EXPECT_EQ(sender.cast(c_here, "x", 1), VORN_ERR_IS_NOT_CREATED_);
    const Addr service = stub.open();
    proxy.connect(service);
    const std::string largest(65000, 'L');
    const std::string larger(65001, 'L');
    EXPECT_EQ(sender.cast(c_here, larger.data(), 65001), VORN_ERR_TOO_BIG_SIZE_);
    EXPECT_EQ(unheard.cast(c_here, "x", 1), 0);
    for (const std::string& data : {std::string("one"), std::string(), largest}) {
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

class All_service : public Stub_call,
                    public Stub_signal,
                    public Stub_event,
                    public Stub_information,
                    public Stub_command,
                    public Stub_datagram {
public:
    All_service()
        : Stub_call(1, 8), Stub_signal(1), Stub_event(1), Stub_information(1), Stub_command(1), Stub_datagram(1) {}
    Log log;

private:
    Error on_call(Addr, const void*, Pksize, void* _out_, Pksize* _size_, double, double) override {
        std::memcpy(_out_, "answer", *_size_ = 6);
        return 0;
    }
    void on_signal(Addr, const void*, Pksize, double) override { log.put("signal"); }
    void on_sync(Addr, Sync_model, double, double, const void*, const Pksize) override { log.put("command"); }
    // One override for the three kinds that have this operation.
    void on_unlink(Addr, Error _error) override { log.put("unlink " + name_of(_error)); }
    void on_disconnect(Addr) override { log.put("disconnect"); }
};

class All_client : public Proxy_call,
                   public Proxy_signal,
                   public Proxy_event,
                   public Proxy_information,
                   public Proxy_command,
                   public Proxy_datagram {
public:
    All_client()
        : Proxy_call(1), Proxy_signal(1), Proxy_event(1), Proxy_information(1), Proxy_command(1), Proxy_datagram(1) {}
    Log log;
    Events<int> connected;

private:
    void on_connect() override { connected.put(1); }
    void on_disconnect() override { log.put("disconnect"); }
    void on_return(Msg_num, Error, const void* _data, Pksize _size, double) override {
        log.put("call " + bytes_of(_data, _size));
    }
    void on_return(Msg_num, Error _err, double) override { log.put("signal " + name_of(_err)); }
    void on_link(Msg_num, Error _err, double) override { log.put("link " + name_of(_err)); }
    void on_unlink(Error _err) override { log.put("unlink " + name_of(_err)); }
    void on_event(const void*, Pksize, double) override { log.put("event"); }
    void on_sync(Sync_model, double, double, const void*, Pksize) override { log.put("information"); }
    void on_datagram(Addr, const void*, Pksize, double) override { log.put("datagram"); }
};

TEST_F(Datagram, AllSixKindsInOneObject) {
    auto service = std::make_unique<All_service>();
    auto client = std::make_unique<All_client>();
    Port port = 0;
    ASSERT_EQ(service->start("all", &port), 0);
    ASSERT_EQ(client->start({c_here, port}), 0);
    client->connected.take();
    Msg_num num = 0;
    client->delegate_call(&num, nullptr, 0, 20);
    EXPECT_EQ(client->log.take(), "call answer");
    client->delegate_signal(&num, nullptr, 0, 20);
    EXPECT_EQ(client->log.take(), "signal 0");
    EXPECT_EQ(service->log.take(), "signal");
    client->Proxy_event::delegate_link(&num, 20);
    client->Proxy_information::delegate_link(&num, true, 20);
    client->Proxy_command::delegate_link(&num, 20);
    for (int link = 0; link < 3; ++link) EXPECT_EQ(client->log.take(), "link 0");
    service->event();
    EXPECT_EQ(client->log.take(), "event");
    service->Stub_information::write("i", 1);
    EXPECT_EQ(client->log.take(), "information");
    client->Proxy_command::write("c", 1);
    EXPECT_EQ(service->log.take(), "command");
    service->cast(c_here, "d", 1);
    EXPECT_EQ(client->log.take(), "datagram");

    Addr here;
    Addr there;
    client->get_address(&here, &there);
    with_server_record(here.port, [](auto* _record) { ::shutdown(_record->socket, SHUT_RDWR); });
    for (Log* log : {&client->log, &service->log}) {
        for (int link = 0; link < 3; ++link) EXPECT_EQ(log->take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
        EXPECT_EQ(log->take(), "disconnect");
    }
    lost_blocks = 2;  // the history of a command is not given back at a loss
    client.reset();
    service.reset();
    EXPECT_FALSE(gp_processor->local_stubes.contains(port));
}

}  // namespace
