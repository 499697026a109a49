// Locks taken against their order end the process, which says where both were taken.

#include <gtest/gtest.h>

#include <string>

#include "Vorn/Vorn_processor/object_lock.h"

namespace Vorn35 {
namespace {

#ifdef VORN35_CHECK_LOCKS

/// The message, then the stack of the thread as it is, then that of the lock it holds.
std::string dies_of(const std::string& _what, const std::string& _held) {
    return "lock order: " + _what + " while " + _held + " is held.*here:.*0x.*" + _held + " was taken:.*0x";
}

TEST(Lock_order, AgainstTheOrder) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Mutex<lock_order::client> client;
    Mutex<lock_order::server> server;
    Mutex<lock_order::send_queue> queue, other_queue;
    const auto take = [](auto& _first, auto& _second) {
        const Lock_guard first(_first);
        const Lock_guard second(_second);
    };
    take(client, queue);
    EXPECT_DEATH(take(queue, client), dies_of("g_client_lock is taken", "send_queue_lock"));
    // Neither two alternatives nor two of one kind; and no lock twice, not even shared.
    EXPECT_DEATH(take(client, server), dies_of("g_establish_server_map_lock is taken", "g_client_lock"));
    EXPECT_DEATH(take(queue, other_queue), dies_of("send_queue_lock is taken", "send_queue_lock"));
    const Shared_hold hold;
    EXPECT_DEATH(const Exclusive_hold again, dies_of("mutex_01 is taken again", "mutex_01"));
    const Lock_guard lock(client);
    EXPECT_DEATH(const Released released, dies_of("application code or a wait", "g_client_lock"));
    EXPECT_DEATH(queue.unlock(), "lock order: a lock is released that this thread does not hold");
}

#endif

}  // namespace
}  // namespace Vorn35
