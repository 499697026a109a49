// Blocks, their counts, and tokens: who holds what, and when a block dies.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn35/vorn_error.h"

using namespace Vorn35;

namespace {

class Memory : public testing::Test {
protected:
    Memory() { initialize_memory(); }
    ~Memory() override {
        finalize_memory();
        EXPECT_EQ(gp_memory, nullptr);
        EXPECT_TRUE(lasting_memory().allocs.empty()) << "a test left a block behind";
    }
    static ref_count_t count(mm_t _mm) { return gp_memory->get_ref(_mm); }
};

TEST_F(Memory, LastReferenceReturnsTheBlock) {
    mm_t mm = 0;
    ASSERT_EQ(gp_memory->eproc_alloc(&mm, 100), 0);
    std::memset(get_ptr(mm), 1, 100);
    for (ref_count_t expected = 2; expected <= 5; ++expected) EXPECT_EQ(safe_add_ref_mm(mm), expected);
    EXPECT_TRUE(is_clean_memory(mm));
    for (mm_t copy = mm; count(mm) > 1; copy = mm) safe_free_mm(&copy);
    EXPECT_EQ(gp_memory->alloc_total, 100U);
    safe_free_mm(&mm);
    EXPECT_EQ(mm, 0U);
    EXPECT_TRUE(gp_memory->allocs.empty() && gp_memory->alloc_total == 0);
}

TEST_F(Memory, PayloadLiesBehindAPacketPrefix) {
    Token token;
    ASSERT_EQ(token.alloc_header(), 0);
    ASSERT_EQ(token.alloc_data(10), 0);
    EXPECT_EQ(get_ptr_size(token.header_mm), 64U);
    EXPECT_EQ(get_ptr_size(token.data_mm), 74U);
    EXPECT_EQ(get_data_size(token.data_mm), 10U);
    Packet* const prefix = token.get_data_packet();
    *prefix = *token.get_header_packet();
    EXPECT_EQ(prefix->get_header() + Packet::get_header_size(), token.get_data());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(prefix) % alignof(Packet), 0U);
    token.free();

    mm_t empty = 0;
    ASSERT_EQ(eproc_alloc_data(&empty, 0), 0);
    EXPECT_NE(empty, 0U);
    EXPECT_EQ(get_data_size(empty), 0U);
    safe_free_mm(&empty);
    EXPECT_THROW(static_cast<void>(eproc_alloc_data(&empty, SIZE_MAX - 10)), std::bad_alloc);
}

TEST_F(Memory, TokensCountOnlyWhenTold) {
    Token first;
    first.alloc_header_force();
    proc_alloc_data_force(&first.data_mm, 4);
    Token copy = first;
    Token second;
    second.set_header(first);
    second.set_data(first);
    second.set_data(first);  // the reference of the first set_data is the caller's to balance
    second.reset();
    EXPECT_EQ(count(copy.header_mm), 2U);
    EXPECT_EQ(count(copy.data_mm), 3U);
    first.free_data();
    EXPECT_TRUE(first.has_header() && !first.has_data());
    first.free();
    EXPECT_FALSE(first.has_header());
    EXPECT_EQ(count(copy.header_mm), 1U);  // the copy still reads as holding both
    EXPECT_EQ(count(copy.data_mm), 2U);
    Token(copy).free();
    copy.free_data();
    EXPECT_EQ(gp_memory->alloc_total, 0U);
}

TEST_F(Memory, BlocksOutliveTheirAllocator) {
    Token kept;
    kept.alloc_header_force();
    ASSERT_EQ(kept.alloc_data(3), 0);
    std::memcpy(kept.get_data(), "abc", 3);
    finalize_memory();
    ASSERT_EQ(gp_memory, nullptr);
    EXPECT_EQ(lasting_memory().allocs.size(), 2U);
    EXPECT_EQ(get_data_size(kept.data_mm), 3U);
    EXPECT_EQ(std::memcmp(get_data(kept), "abc", 3), 0);
    EXPECT_NE(get_header(kept), nullptr);
    EXPECT_EQ(safe_add_ref_header(kept), 2U);
    Token(kept).free();  // without an allocator: one header reference stays, the data dies
    kept.data_mm = 0;
    EXPECT_EQ(lasting_memory().allocs.size(), 1U);

    initialize_memory();
    Token fresh;
    fresh.alloc_header_force();
    EXPECT_EQ(safe_add_ref_header(kept), 2U);
    Token(kept).free();
    kept.free();
    EXPECT_EQ(gp_memory->allocs.size(), 1U);
    EXPECT_EQ(gp_memory->alloc_total, 64U);
    fresh.free();
}

TEST_F(Memory, BlocksGivenBackWhileTheAllocatorEnds) {
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
}

TEST_F(Memory, WithoutAnAllocatorNothingIsAllocated) {
    finalize_memory();
    Token token;
    EXPECT_EQ(token.alloc_header(), VORN_ERR_EMPTY_VORN_MEMORY_);
    EXPECT_EQ(token.alloc_data(1), VORN_ERR_EMPTY_VORN_MEMORY_);
    token.alloc_header_force();  // returns, and with nothing
    EXPECT_FALSE(token.has_header() || token.has_data());
    token.free();
    safe_add_ref_token(token);
    EXPECT_TRUE(get_header(token) == nullptr && get_data(token) == nullptr);
}

}  // namespace
