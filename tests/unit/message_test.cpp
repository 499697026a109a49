// What two processes must agree on: the times, and how a message is turned round.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "Vorn/struct.h"
#include "Vorn35/vorn_error.h"

using namespace Vorn35;
using namespace std::chrono_literals;

namespace {

int word_of(const Packet_time& _time) {
    return _time.exp + 64 * _time.man;
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

TEST(PacketTime, EncodesByTruncation) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double none : {std::nextafter(0x1p-32, 0), 0.0, -1.0, -infinity, std::nan("")}) {
        EXPECT_TRUE(Packet_time(none).is_zerotime() && Packet_time(none).get_time() == 0) << none;
    }
    for (const double endless : {0x1p31, c_no_limit, infinity}) {
        EXPECT_TRUE(Packet_time(endless).is_infinite() && Packet_time(endless).get_time() == 4290772992.0) << endless;
    }
    // Any word decodes, also one that no encoder makes.
    for (int word = 0; word < 0x10000; ++word) {
        Packet_time time;
        std::memcpy(static_cast<void*>(&time), &word, 2);
        const double seconds = time;
        ASSERT_EQ(seconds, (word >> 6) / 1024.0 * std::pow(2.0, (word & 63) - 31));
        if (word < 0x8000 || seconds >= 0x1p31) continue;
        ASSERT_EQ(word_of(Packet_time(seconds)), word);
        ASSERT_EQ(word_of(Packet_time(seconds * (1 + 0x1p-11))), word) << "truncated";
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

TEST(Types, EachIsTurnedAsTheTableSays) {
    // The family of each type for the order of messages.
    const std::string families = std::string(6, '0') + '6' + std::string(25, '0') + "20020000222200001001000011110000" +
                                 "30033300333330004004444044444000" + "50055500555550005005505055555000";
    for (int number = 0; number < 256; ++number) {
        const auto type = static_cast<EMsg>(number);
        const std::array<int, 3> row = turned(number);
        for (std::size_t way = 0; way < 3; ++way) {
            Packet pkt = sample_packet(type);
            Packet expected(pkt);
            if (way != 2) {  // the backward switches exchange the addresses whatever the result
                std::swap(expected.src_ip, expected.dst_ip);
                std::swap(expected.src_port, expected.dst_port);
            }
            if (row[way] != 0) {
                expected.header.type = static_cast<EMsg>(row[way]);
                if (way != 0) expected.header.error = -77;
                if (way != 0 || number == 32 || number == 40) expected.header.size = 0;
                if (way == 1 && row[0] == 0) {
                    expected.header.limit = Packet_time(c_no_limit);
                    expected.packet_limit_time = 4290772992.0;
                }
            }
            const bool turned = way == 0   ? pkt.backward_return_switch()
                                : way == 1 ? pkt.backward_error_switch(-77)
                                           : pkt.forward_error_switch(-77);
            EXPECT_EQ(turned, row[way] != 0) << number << " way " << way;
            EXPECT_EQ(std::memcmp(&pkt, &expected, sizeof pkt), 0) << number << " way " << way;
        }
        EXPECT_EQ(trans_listen_type_to_transaction(type), number < 128 ? families[number] - '0' : 0) << number;
        // Answers by waiting belong to their request, and whatever else to a call.
        const int block = number / 16 * 16;
        const bool answer = number >= 32 && number < 128 && (number == block + 1 || number == block + 2);
        EXPECT_EQ(get_return_type(type), static_cast<EMsg>(answer ? block : 48)) << number;
        const bool acknowledged = number == 33 || number == 41 || number == 49 || number == 57;
        Packet pkt = sample_packet(type);
        pkt.set_swap_acktype();
        EXPECT_EQ(static_cast<int>(pkt.get_msg_type()), acknowledged ? number + 3 : number) << number;
    }
}

TEST(PacketRecord, LimitCountsDownAndLifeUp) {
    const ks_clock_t five_seconds_ago = std::chrono::steady_clock::now() - 5s;
    Packet pkt = sample_packet(EMsg::call);
    pkt.header.limit.set_time(512.0);
    pkt.header.time.set_time(2.0);
    pkt.determine_arrival_clock(five_seconds_ago);
    EXPECT_FALSE(pkt.is_timeout() || pkt.update_packet_time_and_return_timeout());
    EXPECT_LE(pkt.packet_limit_time, 507.0);
    EXPECT_NEAR(pkt.packet_limit_time + pkt.packet_live_time, 514.0, 1e-9);
    EXPECT_EQ(word_of(pkt.header.limit), word_of(Packet_time(pkt.packet_limit_time)));
    EXPECT_EQ(word_of(pkt.header.time), word_of(Packet_time(pkt.packet_live_time)));
    for (const double limit : {5.0, 0.0, -1.0, c_no_limit}) {
        pkt.initialize_packet(c_loopback_ip, five_seconds_ago, limit);
        const bool over = limit != c_no_limit;
        EXPECT_TRUE(pkt.is_timeout() == over && pkt.update_packet_time_and_return_timeout() == over) << limit;
        EXPECT_TRUE(over ? pkt.header.limit.is_zerotime() : pkt.header.limit.is_infinite()) << limit;
    }
}

// The first and the last of each range, and what lies behind it.
TEST(Errors, ValueHasItsName) {
    const std::uint32_t values[] = {0, 0x80000001, 0x80000007, 0x80000008, 0xC0000000, 0xC000000B, 0xD0000006};
    std::string names;
    for (const std::uint32_t value : values) names += std::string(" ") + get_err_str(static_cast<Error>(value));
    EXPECT_EQ(names,
              " VORN_ERR_NONE_ VORN_ERR_ALREADY_USED_NAME_ VORN_ERR_SHUTDOWN_ VORN_ERR_UNKNOWN_"
              " VORN_ERR_LOCAL_TIMEOUT_ VORN_ERR_OVERLAPED_PACKET_ VORN_ERR_NOT_INITIALIZE_");
}

}  // namespace
