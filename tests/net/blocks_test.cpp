// Live blocks after a few thousand exchanges of every outcome: as many as before.

#include "net/support/objects.h"

using namespace net;

namespace {

class Blocks : public Runtime {
protected:
    void SetUp() override {
        Runtime::SetUp();
        // From its first datagram on the directory's port keeps a header ready.
        const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
        const sockaddr_in to = socket_address(c_directory_port);
        const Bytes names = Wire_message{3, 1, 0, hex("01 00 20 00 00 00 00 00") + Bytes(10) + Bytes(22, 'n')}.bytes();
        Addr heard;
        EXPECT_TRUE(eventually([&] {
            ::sendto(socket.fd, names.data(), names.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
            return get_address(std::string(22, 'n').c_str(), &heard) == 1;
        }));
    }

    /// Runs the exchanges once to warm up, and then so often with the blocks counted around them.
    template <class Exchanges>
    static void expect_steady(int _times, Exchanges _exchanges, Live _lost_each_time = {0, 0}) {
        _exchanges();
        const Live before = settled();
        for (int i = 0; i < _times; ++i) _exchanges();
        const auto times = static_cast<std::size_t>(_times);
        const Live expected{before.blocks + times * _lost_each_time.blocks,
                            before.bytes + times * _lost_each_time.bytes};
        // What is still on its way is given back by itself.
        EXPECT_TRUE(eventually([&] { return live() == expected; }))
            << "blocks " << before.blocks << " -> " << live().blocks << ", bytes " << before.bytes << " -> "
            << live().bytes;
    }

private:
    /// The blocks of a runtime that has come to rest: the same for a while, between two beats.
    static Live settled() {
        Live last = live();
        int same = 0;
        EXPECT_TRUE(eventually([&] {
            const Live now = live();
            same = now == last ? same + 1 : 0;
            last = now;
            return same == 30;
        }));
        return last;
    }
};

TEST_F(Blocks, CallsOfEveryOutcome) {
    auto& service = make<Service>([](const Bytes& _in, Bytes* _out_) {
        if (_in.size() == 1) return -1;
        if (_in.size() == 2) *_out_ = {};
        return 0;
    });
    auto& client = make<Client>();
    auto& stranger = make<Client>(client, Msg_code{99});
    client.connect(service.open());
    const auto until_all_were_handled = [&] {
        client.delegate(text("last"));
        while (client.returned.take().data != text("last")) {
        }
        while (!service.called.empty()) service.called.take();
    };
    expect_steady(20, [&] {
        Msg_num num = 0;
        for (int i = 0; i < 10; ++i) {
            for (const std::size_t size : {0, 1, 2, 100}) client.delegate_and_take(Bytes(size));
            stranger.delegate_and_take(Bytes(10));
            client.wait(client.ask(Bytes(10), 0));            // dropped over there
            client.wait(client.ask(Bytes(100), 0.0005));      // answered in time, or late
            client.wait(client.ask(Bytes(100), c_no_limit));  // answered, but never waited for
            client.await_return(client.ask(Bytes(100), 0.0005), nullptr, nullptr, nullptr);
            stranger.wait(stranger.ask(Bytes(10), 0.0005));
            client.wait(nullptr);
            client.cancel(5);
            client.delegate_call(&num, "x", 1, 0);
        }
        until_all_were_handled();
    });
    EXPECT_EQ(service.stop(), 0);
    expect_steady(10, [&] {
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(client.delegate_and_take(Bytes(5)).err, VORN_ERR_OBJECT_IS_NOT_EXIST_);
            client.wait(client.ask(Bytes(5), 0.0005));
        }
    });
}

TEST_F(Blocks, ASecondAnswerIsLostWithItsBlocks) {
    const Raw_server server;
    auto& client = make<Client>();
    ASSERT_EQ(client.start({c_here, server.port()}), 0);
    const Raw_connection connection = server.accept_open();
    client.connected.take();
    const auto exchange = [&](int _answers) {
        const Promise_ promise = client.ask({}, 0.01);
        const Wire_message request = connection.next();
        for (int i = 0; i < _answers; ++i) connection.send(Wire_message{0x31, c_code, request.num, Bytes(100)});
        for (int i = 0; i < _answers; ++i) EXPECT_EQ(connection.next().type, 0x34);
        // An answer by callback, that all of them were read.
        connection.send(Wire_message{0x39, c_code, request.num});
        client.returned.take();
        EXPECT_EQ(client.wait(promise).err, VORN_ERR_LOCAL_TIMEOUT_);
    };
    expect_steady(10, [&] { exchange(1); });
    // A header, and a payload behind its prefix.
    expect_steady(10, [&] { exchange(2); }, {2, 64 + 64 + 100});
    expect_steady(10, [&] { exchange(4); }, {6, 3 * (64 + 64 + 100)});
    lost_blocks = 11 * 2 + 11 * 6;
    // An answer that nobody ever waited for, or waits for no more, is given back whole.
    std::uint16_t num = 1000;
    expect_steady(100, [&] {
        connection.send(Wire_message{0x31, c_code, ++num, Bytes(100)});
        EXPECT_EQ(connection.next().num, num);
    });
}

}  // namespace
