// The small toolkit: the pipe and times.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <tuple>

#include "Kestrane/Nonshared_pipe.h"
#include "Kestrane/_chrono.h"
#include "Vorn/SDK/beat.h"
#include "Vorn/wakeup_coalescing.h"

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

TEST(Beat, IntervalOfNothingOrLessGoesOn) {
    for (const double interval : {0.0, -1e300, std::nan("")}) {
        std::atomic<int> calls{0};
        const Vorn35::Beat beat(interval, [&calls] { ++calls; });
        while (calls < 5) std::this_thread::yield();
    }
}

TEST(Wakeup_coalescing, WakesOnceAtTheEndOfTheOutermost) {
    using Vorn35::Wakeup_coalescing;
    static int senders = 0;
    static int listeners = 0;
    const auto wake = [](int _times) {
        for (; _times > 0; --_times) {
            Wakeup_coalescing::request([] { ++senders; });
            Wakeup_coalescing::request([] { ++listeners; }, 3);
        }
    };
    wake(2);
    EXPECT_EQ(std::tuple(senders, listeners), std::tuple(2, 2)) << "at once";
    {
        const Wakeup_coalescing outer;
        {
            const Wakeup_coalescing inner;
            wake(7);
        }
        EXPECT_EQ(std::tuple(senders, listeners), std::tuple(2, 4)) << "patience ends early, twice";
    }
    EXPECT_EQ(std::tuple(senders, listeners), std::tuple(3, 5)) << "one was left over";
    {
        const Wakeup_coalescing again;
        wake(3);
    }
    EXPECT_EQ(std::tuple(senders, listeners), std::tuple(4, 6)) << "none was left over";
}

}  // namespace
