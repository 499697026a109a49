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
        EXPECT_TRUE(gp_memory == nullptr && lasting_memory().allocs.empty()) << "a test left a block behind";
    }
};

TEST_F(Memory, BlocksOutliveTheirAllocator) {
    Token kept;
    EXPECT_THROW(static_cast<void>(eproc_alloc_data(&kept.data_mm, SIZE_MAX - 10)), std::bad_alloc);
    kept.alloc_header_force();
    ASSERT_EQ(kept.alloc_data(3), 0);
    std::memcpy(kept.get_data(), "abc", 3);
    finalize_memory();
    Token none;
    EXPECT_EQ(none.alloc_header(), VORN_ERR_EMPTY_VORN_MEMORY_);
    none.alloc_header_force();  // returns, and with nothing
    EXPECT_FALSE(none.has_header());
    EXPECT_EQ(std::memcmp(get_data(kept), "abc", get_data_size(kept.data_mm)), 0);
    EXPECT_EQ(safe_add_ref_header(kept), 2U);
    Token(kept).free();  // one header reference stays, the data dies
    kept.data_mm = 0;
    EXPECT_EQ(lasting_memory().allocs.size(), 1U);
    initialize_memory();
    EXPECT_EQ(safe_add_ref_header(kept), 2U);
    Token(kept).free();
    kept.free();
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

}  // namespace
