// The small toolkit: the pipe, times, wake-ups and blocks.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Kestrane/Nonshared_pipe.h"
#include "Kestrane/_chrono.h"
#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/wakeup_coalescing.h"

using namespace Kestrane;
using namespace std::chrono_literals;

namespace {

using Pipe = Nonshared_pipe<int>;

TEST(Nonshared_pipe, RefusesAboveTheLimitOfThePush) {
    Pipe pipe(1);  // its own size bounds nothing
    int item = -1;
    for (int i = 0; i < 17; ++i) {
        EXPECT_EQ(i % 2 == 0 ? pipe.eproc_send(i, 16) : pipe.eproc_push(i, 16), Pipe::success) << i;
        EXPECT_EQ(pipe.eproc_send(99, i), Pipe::busy);
    }
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(i % 2 == 0 ? pipe.eproc_receive(&item) : pipe.eproc_pop(&item), Pipe::success);
        EXPECT_EQ(item, i);
    }
    pipe.proc_shutdown();
    for (const auto result : {pipe.eproc_push(8, 16), pipe.eproc_send(8, 16), pipe.eproc_receive(&item),
                              pipe.eproc_receive_timeout(&item, 0.001)}) {
        EXPECT_EQ(result, Pipe::shutdown);
    }
    EXPECT_EQ(pipe.eproc_pop(&item), Pipe::success);  // what was left can be drained
    EXPECT_EQ(pipe.eproc_pop(&item), Pipe::unknown);
    EXPECT_EQ(item, 16) << "left alone";
}

TEST(Nonshared_pipe, SendAndShutdownWakeReceivers) {
    Pipe pipe(16);
    // Many waits, and one wait without end: each comes back with the item.
    for (const double seconds : {0.001, std::numeric_limits<double>::max()}) {
        int item = 0;
        std::thread receiver([&] { EXPECT_EQ(pipe.eproc_receive_timeout(&item, seconds), Pipe::success); });
        EXPECT_EQ(pipe.eproc_send(5, 16), Pipe::success);
        receiver.join();
        EXPECT_EQ(item, 5);
    }
    const auto receive = [&](int item = 0) { EXPECT_EQ(pipe.eproc_receive(&item), Pipe::shutdown); };
    std::array<std::thread, 3> receivers{std::thread(receive), std::thread(receive), std::thread(receive)};
    pipe.proc_shutdown();
    for (std::thread& one : receivers) one.join();
}

TEST(Chrono, EveryDoubleIsADuration) {
    constexpr double huge = std::numeric_limits<double>::max();
    EXPECT_EQ(to_duration(1.5), 1500ms);
    EXPECT_EQ(to_duration(huge), c_longest_duration);
    EXPECT_EQ(to_duration(-huge), -c_longest_duration);
    EXPECT_EQ(to_duration(std::nan("")), 0ns);
    EXPECT_TRUE(deadline_fits(9223372036.0, 0ns) && deadline_fits(60.0));
    EXPECT_FALSE(deadline_fits(9223372036.0, 1s) || deadline_fits(huge) || deadline_fits(std::nan("")));
}

TEST(Wakeup_coalescing, WakesOnceAtTheEndOfTheOutermost) {
    using Vorn35::Wakeup_coalescing;
    static std::string woken;
    const auto wake = [](int _times) {
        for (; _times > 0; --_times) {
            Wakeup_coalescing::request([] { woken += 's'; });
            Wakeup_coalescing::request([] { woken += 'l'; }, 3);
        }
    };
    {
        const Wakeup_coalescing outer;
        {
            const Wakeup_coalescing inner;
            wake(7);
        }
        EXPECT_EQ(std::exchange(woken, ""), "ll") << "patience ends early, twice";
    }
    EXPECT_EQ(std::exchange(woken, "").size(), 2U) << "one of each was left over";
    wake(1);
    EXPECT_EQ(woken, "sl") << "at once";
}

TEST(Memory, BlocksGivenBackWhileTheAllocatorEnds) {
    using namespace Vorn35;
    initialize_memory();
    std::vector<Token> kept(50'000);
    for (Token& token : kept) token.alloc_header_force();
    std::atomic<bool> done{false};
    std::thread holder([&] {
        for (Token& token : kept) {
            safe_add_ref_token(token);
            Token(token).free();
            token.free();
        }
        done = true;
    });
    while (!done) {
        finalize_memory();
        initialize_memory();
    }
    holder.join();
    EXPECT_EQ(gp_memory->allocs.size() + gp_memory->alloc_total, 0U);
    finalize_memory();
    kept[0].alloc_header_force();  // returns, and with nothing
    EXPECT_FALSE(kept[0].has_header());
}

}  // namespace
