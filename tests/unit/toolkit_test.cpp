// The small toolkit: the pipe, times and interfaces.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <thread>
#include <tuple>

#include "Kestrane/Nonshared_pipe.h"
#include "Kestrane/_chrono.h"
#include "Kestrane/_network.h"

using namespace Kestrane;
using namespace std::chrono_literals;

namespace {

using Pipe = Nonshared_pipe<int>;

// ---- Nonshared_pipe

TEST(Nonshared_pipe, RefusesAboveTheLimitOfThePush) {
    Pipe pipe(1);  // its own size bounds nothing
    EXPECT_TRUE(pipe.test_empty());
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(i % 2 == 0 ? pipe.eproc_send(i, 16) : pipe.eproc_push(i, 16), Pipe::success) << i;
        EXPECT_EQ(pipe.eproc_send(99, i), Pipe::busy);
    }
    EXPECT_EQ(pipe.eproc_push(99, 16), Pipe::busy);
    EXPECT_FALSE(pipe.test_full());
    int item = -1;
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(i % 2 == 0 ? pipe.eproc_receive(&item) : pipe.eproc_pop(&item), Pipe::success);
        EXPECT_EQ(item, i);
    }
    EXPECT_EQ(pipe.eproc_pop(&item), Pipe::unknown);
    EXPECT_EQ(item, 16) << "left alone";

    EXPECT_EQ(pipe.eproc_push(7, 16), Pipe::success);
    pipe.proc_shutdown();
    EXPECT_EQ(pipe.eproc_push(8, 16), Pipe::shutdown);
    EXPECT_EQ(pipe.eproc_send(8, 16), Pipe::shutdown);
    EXPECT_EQ(pipe.eproc_receive(&item), Pipe::shutdown);
    EXPECT_EQ(pipe.eproc_receive_timeout(&item, 0.001), Pipe::shutdown);
    EXPECT_EQ(pipe.eproc_pop(&item), Pipe::success);  // what was left can be drained
    EXPECT_EQ(item, 7);
}

TEST(Nonshared_pipe, SendWakesAReceiverAndShutdownAll) {
    Pipe pipe(16);
    // Without a timeout, with many waits, and with one wait without end: each comes back with the item.
    for (const double seconds : {-1.0, 0.001, std::numeric_limits<double>::max()}) {
        int item = 0;
        std::thread receiver([&] {
            const auto result = seconds < 0 ? pipe.eproc_receive(&item) : pipe.eproc_receive_timeout(&item, seconds);
            EXPECT_EQ(result, Pipe::success);
        });
        EXPECT_EQ(pipe.eproc_send(5, 16), Pipe::success);
        receiver.join();
        EXPECT_EQ(item, 5);
    }
    std::array<std::thread, 3> waiters;
    for (std::thread& waiter : waiters) {
        waiter = std::thread([&] {
            int item = 0;
            EXPECT_EQ(pipe.eproc_receive(&item), Pipe::shutdown);
        });
    }
    pipe.proc_shutdown();
    for (std::thread& waiter : waiters) waiter.join();
}

// ---- _chrono

TEST(Chrono, EveryDoubleIsADuration) {
    constexpr double huge = std::numeric_limits<double>::max();
    EXPECT_EQ(to_duration(1.5), 1500ms);
    EXPECT_EQ(to_duration(-1.9e-9), -1ns);
    EXPECT_EQ(to_duration(huge), c_longest_duration);
    EXPECT_EQ(to_duration(-huge), -c_longest_duration);
    EXPECT_EQ(to_duration(std::nan("")), 0ns);

    EXPECT_TRUE(deadline_fits(9223372036.0, 0ns));
    EXPECT_FALSE(deadline_fits(9223372036.0, 1s));
    EXPECT_TRUE(deadline_fits(60.0));
    for (const double seconds : {9223372036.0, huge, std::nan("")}) EXPECT_FALSE(deadline_fits(seconds));
}

// ---- _network

TEST(Network, InterfacesAreTheHostsButLoopback) {
    using Config = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;
    std::multiset<Config> expected;
    ifaddrs* list = nullptr;
    ASSERT_EQ(::getifaddrs(&list), 0);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        const std::uint32_t inet = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr;
        const std::uint32_t mask = reinterpret_cast<const sockaddr_in*>(entry->ifa_netmask)->sin_addr.s_addr;
        if (inet != ::inet_addr("127.0.0.1")) expected.emplace(inet, mask, ~mask | inet);
    }
    ::freeifaddrs(list);

    IP4_if_table table(3);  // what is in it goes
    EXPECT_EQ(get_ip4_if_table(&table), expected.size());
    std::multiset<Config> found;
    for (const IP4_if_config& config : table) found.emplace(config.inet, config.netmask, config.broadcast);
    EXPECT_EQ(found, expected);
}

}  // namespace
