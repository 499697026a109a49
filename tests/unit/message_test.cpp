// What two processes must agree on: the bytes of the wire, the times, and how a message is turned round.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Vorn/struct.h"
#include "Vorn35/vorn_error.h"

using namespace Vorn35;
using namespace std::chrono_literals;

namespace {

EMsg type_of(int _number) {
    return static_cast<EMsg>(_number);
}

std::uint16_t word_of(const Packet_time& _time) {
    return static_cast<std::uint16_t>(_time.exp + 64 * _time.man);
}

/// A packet with every byte set to something telling.
Packet sample_packet(EMsg _type) {
    Packet pkt;
    std::memset(static_cast<void*>(&pkt), 0x5A, sizeof pkt);
    pkt.initialize_packet(c_loopback_ip, std::chrono::steady_clock::now(), 8.0);
    pkt.initialize_header(0x01020304, 0x1122, _type, 0x3344, -2);
    pkt.set_to_stub(Addr(1, 10), Addr(2, 20));
    return pkt;
}

std::string_view bytes_of(const Packet& _pkt) {
    return {reinterpret_cast<const char*>(&_pkt), sizeof _pkt};
}

TEST(Wire, HeaderIsTwentyGivenBytes) {
    Packet pkt;
    std::memset(static_cast<void*>(&pkt), 0xFF, sizeof pkt);  // init writes the whole first byte over this
    pkt.initialize_packet(c_loopback_ip, ks_clock_t{}, 1.0);
    pkt.header.time.set_time(0.001);
    pkt.initialize_header(0x0A0B0C0D, 0x0102, EMsg::delegate_command_connect, 0x8005, VORN_ERR_OBJECT_IS_NOT_EXIST_);
    pkt.set_client_gate_port(0x2675);

    const std::array<std::uint8_t, 20> expected{0x02, 88,   0x75, 0x26, 0x20, 0x80, 0x16, 0x83, 0x05, 0x80,
                                                0x02, 0x01, 0x02, 0x00, 0x00, 0x80, 0x0D, 0x0C, 0x0B, 0x0A};
    for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(pkt.get_header()[i], expected[i]) << "byte " << i;
    EXPECT_EQ(pkt.get_header() + 20, reinterpret_cast<std::uint8_t*>(&pkt + 1));
    EXPECT_EQ(pkt.get_packet_size(), 0x0A0B0C0DU + 20);
}

TEST(Wire, TcpHeaderIs1024Bytes) {
    Tcp_header opening;
    auto* const bytes = reinterpret_cast<unsigned char*>(&opening);
    opening.set_port_of_sender(0x1234);
    opening.set_port_of_receiver(0xABCD);
    std::string expected = "Handshake@ 2020 Kestrane Corperation!!!!" + std::string(980, '\0') + "\x34\x12\xCD\xAB";
    EXPECT_EQ(std::memcmp(bytes, expected.data(), 1024), 0);
    std::memset(bytes, 0xEE, 1020);
    expected[1019] = '\xEE';  // out of reach of set_string
    opening.set_string();
    EXPECT_EQ(std::memcmp(bytes, expected.data(), 1024), 0);
}

TEST(PacketTime, EncodesByTruncation) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    struct Case {
        double seconds;
        int word;
        double decoded;
    };
    const auto cases = std::to_array<Case>({{1.0, 0x8020, 1.0},
                                            {3.0, 0xC021, 3.0},
                                            {0.001, 0x8316, 0.00099945068359375},
                                            {1.999, 0xFFE0, 1.998046875},
                                            {0x1p31, 0xFFFF, 4290772992.0},
                                            {std::nextafter(0x1p31, 0), 0xFFFE, 2145386496.0},
                                            {c_no_limit, 0xFFFF, 4290772992.0},
                                            {infinity, 0xFFFF, 4290772992.0},
                                            {0x1p-32, 0x8000, 0x1p-32},
                                            {std::nextafter(0x1p-32, 0), 0, 0.0},
                                            {0.0, 0, 0.0},
                                            {-1.0, 0, 0.0},
                                            {-infinity, 0, 0.0},
                                            {std::numeric_limits<double>::quiet_NaN(), 0, 0.0}});
    for (const auto& c : cases) {
        const Packet_time time(c.seconds);
        EXPECT_EQ(word_of(time), c.word) << c.seconds;
        EXPECT_EQ(time.get_time(), c.decoded) << c.seconds;
        EXPECT_EQ(time.is_infinite(), c.word == 0xFFFF) << c.seconds;
        EXPECT_EQ(time.is_zerotime(), c.word == 0) << c.seconds;
    }
}

// What a type becomes by backward return, backward error and forward error; 0: it has no such form. Numbers and not
// names, so that a slip in the enumeration shows as well.
std::array<int, 3> turned(int _type) {
    if (_type < 32 || _type >= 128) return {};
    const int request = _type / 8 * 8;
    const int error = request + (request < 96 ? 3 : 4);  // where a request that cannot be sent ends
    if (_type == request) return {request + 1, request + 2, error};
    if (_type == request + 1) return {0, error, request + 2};
    return {};
}

TEST(Switches, EveryTypeIsTurnedAsTheTableSays) {
    for (int type = 0; type < 256; ++type) {
        const std::array<int, 3> row = turned(type);
        for (std::size_t way = 0; way < 3; ++way) {
            Packet pkt = sample_packet(type_of(type));
            Packet expected(pkt);
            if (way != 2) {  // the backward switches exchange the addresses whatever the result
                std::swap(expected.src_ip, expected.dst_ip);
                std::swap(expected.src_port, expected.dst_port);
            }
            if (row[way] != 0) {
                expected.header.type = type_of(row[way]);
                if (way != 0) expected.header.error = -77;
                if (way != 0 || type == 32 || type == 40) expected.header.size = 0;
                if (way == 1 && row[0] == 0) {
                    expected.header.limit = Packet_time(c_no_limit);
                    expected.packet_limit_time = 4290772992.0;
                }
            }
            const bool turned = way == 0   ? pkt.backward_return_switch()
                                : way == 1 ? pkt.backward_error_switch(-77)
                                           : pkt.forward_error_switch(-77);
            EXPECT_EQ(turned, row[way] != 0) << type << " way " << way;
            EXPECT_EQ(bytes_of(pkt), bytes_of(expected)) << type << " way " << way;
        }
    }
}

/// The value that a table gives for a number, or what holds for those not listed.
int lookup(const std::map<int, int>& _table, int _number, int _otherwise) {
    const auto found = _table.find(_number);
    return found != _table.end() ? found->second : _otherwise;
}

TEST(Types, TransactionRequestAndAcknowledgementOfEachType) {
    const std::map<int, std::vector<int>> families{
        {1, {48, 51, 56, 57, 58, 59}},
        {2, {32, 35, 40, 41, 42, 43}},
        {3, {64, 67, 68, 69, 72, 73, 74, 75, 76}},
        {4, {80, 83, 84, 85, 86, 88, 89, 90, 91, 92}},
        {5, {96, 99, 100, 101, 104, 105, 106, 107, 108, 112, 115, 116, 118, 120, 121, 122, 123, 124}},
        {6, {6}},
    };
    const std::map<int, int> requests{{33, 32}, {34, 32}, {65, 64}, {66, 64},   {81, 80},
                                      {82, 80}, {97, 96}, {98, 96}, {113, 112}, {114, 112}};
    const std::map<int, int> acknowledgements{{33, 36}, {41, 44}, {49, 52}, {57, 60}};
    std::map<int, int> transactions;
    for (const auto& [transaction, types] : families) {
        for (const int type : types) transactions[type] = transaction;
    }
    for (int number = 0; number < 256; ++number) {
        const EMsg type = type_of(number);
        EXPECT_EQ(trans_listen_type_to_transaction(type), lookup(transactions, number, 0)) << number;
        EXPECT_EQ(get_return_type(type), type_of(lookup(requests, number, 48))) << number;
        Packet pkt = sample_packet(type);
        pkt.set_swap_acktype();
        EXPECT_EQ(pkt.get_msg_type(), type_of(lookup(acknowledgements, number, number))) << number;
    }
}

TEST(PacketRecord, AddressesGatePortAndReserves) {
    Packet pkt = sample_packet(EMsg::call);
    EXPECT_EQ(pkt.get_client_gate_port(), 10);
    Packet answer(pkt);
    answer.reserve1 = 111;
    answer.reserve2 = 222;
    answer.set_swap_address(&pkt);
    EXPECT_EQ(answer.get_src(), Addr(2, 20));
    EXPECT_EQ(answer.get_dst(), Addr(1, 10));
    pkt.set_to_proxy(Addr(c_broadcast_ip, 3), Addr(4, 5));
    EXPECT_EQ(pkt.get_client_gate_port(), 0);
    EXPECT_TRUE(pkt.dst_is_datagram());
    answer = pkt;
    EXPECT_EQ(answer.get_src(), Addr(4, 5));
    EXPECT_EQ(answer.reserve1 + answer.reserve2, 333) << "not copied";
}

TEST(PacketRecord, LimitCountsDownAndLifeUp) {
    const ks_clock_t five_seconds_ago = std::chrono::steady_clock::now() - 5s;
    Packet pkt = sample_packet(EMsg::call);
    pkt.header.limit.set_time(512.0);
    pkt.header.time.set_time(2.0);
    pkt.determine_arrival_clock(five_seconds_ago);
    EXPECT_FALSE(pkt.is_timeout());
    EXPECT_FALSE(pkt.update_packet_time_and_return_timeout());
    EXPECT_LE(pkt.packet_limit_time, 507.0);
    EXPECT_NEAR(pkt.packet_limit_time + pkt.packet_live_time, 514.0, 1e-9);
    EXPECT_EQ(word_of(pkt.header.limit), word_of(Packet_time(pkt.packet_limit_time)));
    EXPECT_EQ(word_of(pkt.header.time), word_of(Packet_time(pkt.packet_live_time)));
    for (const double limit : {5.0, 0.0, -1.0, c_no_limit}) {
        pkt.initialize_packet(c_loopback_ip, five_seconds_ago, limit);
        EXPECT_EQ(pkt.is_timeout(), limit != c_no_limit) << limit;
        EXPECT_EQ(pkt.update_packet_time_and_return_timeout(), limit != c_no_limit) << limit;
        EXPECT_TRUE(limit == c_no_limit ? pkt.header.limit.is_infinite() : pkt.header.limit.is_zerotime()) << limit;
    }
}

TEST(Errors, ValueHasItsName) {
    const std::map<std::uint32_t, std::string> names{
        {0, "NONE_"},
        {0x80000001, "ALREADY_USED_NAME_"},
        {0x80000007, "SHUTDOWN_"},
        {0x80000008, "UNKNOWN_"},
        {0xC0000000, "LOCAL_TIMEOUT_"},
        {0xC000000B, "OVERLAPED_PACKET_"},
        {0xC000000C, "UNKNOWN_"},
        {0xD0000000, "DONT_GET_"},
        {0xD0000006, "NOT_INITIALIZE_"},
        {0xD0000007, "UNKNOWN_"},
    };
    for (const auto& [value, name] : names) EXPECT_EQ(get_err_str(static_cast<Error>(value)), "VORN_ERR_" + name);
}

}  // namespace
