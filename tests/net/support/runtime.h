/// @file
/// A running runtime for each test, and the check that it leaves nothing behind.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/INet_Relay/EPoll/epoll.h"
#include "Vorn/Memory/vorn_memory.h"
#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn35/Vorn35.h"
#include "net/support/await.h"

namespace net {

using namespace Vorn35;

inline std::size_t entries_of(const char* _directory) {
    const std::filesystem::directory_iterator all(_directory);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}
inline std::size_t threads() {
    return entries_of("/proc/self/task");
}
inline std::size_t descriptors() {
    return entries_of("/proc/self/fd");
}

/// Blocks that live, and their bytes.
struct Live {
    std::size_t blocks;
    std::size_t bytes;
    friend bool operator==(const Live&, const Live&) = default;
};
inline Live live_of(Ref_memory& _memory) {
    const std::lock_guard lock(_memory.mtx);
    return {_memory.allocs.size(), _memory.alloc_total};
}
inline std::vector<mm_t> keys_of(Ref_memory& _memory) {
    std::vector<mm_t> keys;
    for (const auto& [mm, where] : _memory.allocs) keys.push_back(mm);
    return keys;
}
inline Live live() {
    return live_of(*gp_memory);
}
inline std::size_t records() {
    const std::lock_guard lock(ooo);
    return static_cast<std::size_t>(ooo_count);
}
/// How much of something; `./dev soak` takes much more.
inline std::size_t many(std::size_t _short_form, std::size_t _long_form = 100'000) {
    return std::getenv("VORN35_LONG") == nullptr ? _short_form : _long_form;
}
inline ks_clock_t hours_ahead() {
    return relay_clock() + std::chrono::hours(3);
}

/// Gives back the blocks that a life of the runtime left. @return those that are not `_excused`, as type/code/size.
template <class Excused>
std::vector<std::string> sweep(Excused _excused) {
    std::vector<std::string> left;
    for (const mm_t mm : keys_of(lasting_memory())) {
        const auto* const pkt = static_cast<const Packet*>(get_ptr(mm));
        if (!_excused(*pkt, get_ptr_size(mm) - sizeof(Packet)))
            left.push_back(std::to_string(static_cast<int>(pkt->get_msg_type())) + "/" +
                           std::to_string(pkt->header.code) + "/" + std::to_string(get_ptr_size(mm)));
        while (lasting_memory().get_ref(mm) > 1) lasting_memory().proc_free(mm);
        lasting_memory().proc_free(mm);
    }
    return left;
}

/// A sanitizer may start a thread of its own with the first one of a process: let that be over before any are counted.
inline void settle_threads() {
    pid_t first = 0;
    std::thread([&first] { first = ::gettid(); }).join();
    const std::string entry = "/proc/self/task/" + std::to_string(first);
    EXPECT_TRUE(eventually([&entry] { return !std::filesystem::exists(entry); }));
}

/// Up from before the test's body to after it. Objects made by `make` live on past `finalize`, so that no
/// callback can meet an object that is being destroyed.
class Runtime : public testing::Test {
protected:
    enum Start { by_itself, by_the_test };
    explicit Runtime(Start _start = by_itself) : start(_start) {}

    void SetUp() override {
        settle_threads();
        threads_before = threads();
        descriptors_before = descriptors();
        if (start == by_itself) {
            ASSERT_EQ(initialize(), 0);
        }
    }
    void TearDown() override {
        // What the pipe holds when it closes is lost: here nothing but what comes at the very end.
        if (gp_processor != nullptr && gp_processor->thread_count != 0) {
            EXPECT_TRUE(eventually([] { return gp_processor->test_empty(); }));
        }
        EXPECT_EQ(finalize(), 0);
        while (!objects.empty()) objects.pop_back();  // an attached member before what it is attached to
        EXPECT_EQ(gp_memory, nullptr);
        EXPECT_EQ(records(), 0U);
        EXPECT_TRUE(g_server_map.empty() && g_udp_map.empty() && g_establish_client_map.empty() &&
                    g_establish_server_map.empty() && g_connect_map.empty() && g_connect_fail_map.empty());
        EXPECT_TRUE(eventually([this] { return threads() == threads_before; }));
        EXPECT_EQ(descriptors(), descriptors_before);
        std::size_t in_pipe = 0;
        const std::vector<std::string> left = sweep([&](const Packet& _pkt, std::size_t _payload) {
            const EMsg type = _pkt.get_msg_type();
            const bool directory = type == EMsg::ctrl_broadcast && (_payload == 0 || _payload % 32 == 8);
            const bool own_value = hears_itself && type == EMsg::information_udp;
            if (!directory && !own_value && (type != EMsg::ctrl || _payload != 0))
                return under_pressure && _payload == 0 && _pkt.get_client_gate_port() != 0;
            ++in_pipe;
            return true;
        });
        EXPECT_EQ(left.size(), lost_blocks) << "blocks that nobody gave back: " << testing::PrintToString(left);
        // What the pipe holds when it closes is lost: here the last ends of connections, or a directory.
        if (!under_pressure) {
            EXPECT_LE(in_pipe, 17U + 2);
        }
    }

    template <class T, class... Arguments>
    T& make(Arguments&&... _arguments) {
        auto object = std::make_shared<T>(std::forward<Arguments>(_arguments)...);
        objects.push_back(object);
        return *object;
    }

    /// Blocks that the rules of the system lose on purpose in this test.
    std::size_t lost_blocks = 0;
    /// Headers sent to a service on a connection that was closing are lost, too, however many there were; and so are
    /// notices of a loss that a full pipe refused.
    bool under_pressure = false;
    /// Values that this process sends by multicast come to itself, at any time up to the end.
    bool hears_itself = false;

    std::vector<std::shared_ptr<void>> objects;
    std::size_t threads_before = 0;

private:
    const Start start;
    std::size_t descriptors_before = 0;
};

}  // namespace net
