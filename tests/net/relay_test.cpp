// The relay under peers that behave badly, all at once, or not at all.

#include <fcntl.h>

#include "Vorn/INet_Relay/EPoll/epoll_tcp_method.h"
#include "net/support/objects.h"

using namespace net;

namespace {

class Relay : public Pair {
protected:
    static void all_gone() {
        EXPECT_TRUE(eventually([] { return records() == 0; }));
    }
};

TEST_F(Relay, MoreConnectionsAtOnceThanTheBacklogHolds) {
    address = service.open();
    const sockaddr_in to = socket_address(address.port);
    for (const std::size_t count : {2U, 12U}) {  // of 12 some come again a second later
        std::vector<Raw_connection> burst;
        {
            // The worker that accepts stops behind the first, and has one edge-triggered event for the others.
            const std::lock_guard hold(ooo);
            while (burst.size() < count) {
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
        EXPECT_EQ(records(), count);
        burst.clear();
        all_gone();
    }
}

/// The acknowledgement takes a waiting return away, and then the send fails after all: one reference each.
TEST_F(Relay, AcknowledgedBeforeItWasSent) {
    struct_epoll_overlapped_tcp record(-1, c_socket_server, Addr(), Addr());
    Token answer;
    answer.alloc_header_force();
    Packet* const pkt = answer.get_header_packet();
    pkt->header.type = EMsg::call_return;
    for (const bool acknowledged : {true, false}) {
        wait_ack(&record, answer, pkt);
        if (acknowledged) take_ack(&record);
        unwait_ack(&record, pkt);
        EXPECT_EQ(gp_memory->get_ref(answer.header_mm), 1U);
    }
    answer.free();
}

TEST_F(Relay, DatagramsThatAreDroppedAndPortsThatAreCounted) {
    address = service.open();
    const Raw_socket socket(::socket(AF_INET, SOCK_DGRAM, 0));
    /// A cancel by datagram reaches the member like any other; no number, so that none is taken for a repeat.
    const auto cancel = [](std::uint32_t _error, const Bytes& _payload = {}, std::uint8_t _first = 2) {
        return Wire_message{0x33, c_code, 0, _payload, 5, 0xFFFF, 0, _error, _first}.bytes();
    };
    Bytes two_gib = cancel(1);
    two_gib[19] = 0x7F;
    Bytes cut = cancel(1, text("abc"));
    cut.pop_back();
    // Those of 2 are taken: with a tail that is not announced, and of version 2 with a priority.
    for (const Bytes& bytes : {Bytes{}, Bytes(19, 2), cancel(1, {}, 1), two_gib, cancel(2, text("abc")),
                               cancel(2) + Bytes{1}, cancel(2, {}, 0x0A), cut, cancel(2, Bytes(60000))})
        socket.send_to(address.port, bytes);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(service.cancelled.take(), 2);

    const auto is_open = [] {
        const std::lock_guard lock(g_udp_map_lock);
        return g_udp_map.contains(7000);
    };
    EXPECT_EQ(add_udp(7000) + add_udp(7000), 0);
    del_udp(7000);
    EXPECT_TRUE(is_open());
    del_udp(7000);
    EXPECT_FALSE(is_open());
}

}  // namespace
