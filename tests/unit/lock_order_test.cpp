// Locks taken against their order end the process, which says where both were taken. A build without the checks knows
// only that a mutex is no larger for them.

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>

#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {
namespace {

static_assert(sizeof(Mutex<lock_order::ooo>) == sizeof(std::mutex));
static_assert(sizeof(Unique_lock<lock_order::ooo>) == sizeof(std::unique_lock<std::mutex>));

#ifdef VORN35_CHECK_LOCKS

Mutex<lock_order::client> client;
Mutex<lock_order::server> server;
Mutex<lock_order::send_queue> queue;
Mutex<lock_order::send_queue> other_queue;

/// Takes one after the other, and gives them back.
template <class First, class Second>
void take(First* _first, Second* _second) {
    const Lock_guard first(*_first);
    const Lock_guard second(*_second);
}

/// The message, then the stack of the thread as it is, then that of the lock it holds.
std::string dies_of(const std::string& _message, const std::string& _held) {
    return "lock order: " + _message + " is held.*here:.*0x.*" + _held + " was taken:.*0x";
}

class Lock_order : public testing::Test {
protected:
    // The child starts anew: other cases may have left threads behind.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(Lock_order, against_the_order) {
    take(&client, &queue);
    EXPECT_DEATH(take(&queue, &client), dies_of("g_client_lock is taken while send_queue_lock", "send_queue_lock"));
    // Neither two alternatives nor two of one kind; and no lock twice, not even shared.
    EXPECT_DEATH(take(&client, &server),
                 dies_of("g_establish_server_map_lock is taken while g_client_lock", "g_client_lock"));
    EXPECT_DEATH(take(&queue, &other_queue),
                 dies_of("send_queue_lock is taken while send_queue_lock", "send_queue_lock"));
    EXPECT_DEATH(
        {
            const Shared_hold hold;
            const Exclusive_hold again;
        },
        dies_of("mutex_01 is taken again while mutex_01", "mutex_01"));
}

// No two threads meet here, so nothing hangs; the order is broken all the same.
TEST_F(Lock_order, two_orders_in_two_threads) {
    EXPECT_DEATH(
        {
            std::thread([] { take(&client, &queue); }).join();
            std::thread([] { take(&queue, &client); }).join();
        },
        dies_of("g_client_lock is taken while send_queue_lock", "send_queue_lock"));
}

TEST_F(Lock_order, what_is_let_go_of_counts_no_more) {
    {
        // In another order than they were taken, and taken again.
        Unique_lock first(client);
        Unique_lock second(queue);
        first.unlock();
        second.unlock();
        first.lock();
    }
    take(&server, &queue);
    EXPECT_DEATH(queue.unlock(), "lock order: a lock is released that this thread does not hold");
}

TEST_F(Lock_order, application_code_runs_with_no_lock_held) {
    const Shared_hold hold;
    {
        const Released released;
        // An operation that a callback calls, which waits in turn.
        const Shared_hold call;
        const Released wait;
    }
    const Lock_guard lock(client);
    EXPECT_DEATH({ const Released released; },
                 dies_of("application code or a wait while g_client_lock", "g_client_lock"));
}

#endif

}  // namespace
}  // namespace Vorn35
