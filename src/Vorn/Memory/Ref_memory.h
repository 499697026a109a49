/// @file
/// The process-wide allocator of reference-counted blocks.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Vorn/mutex.h"
#include "Vorn35/vorn_typedef.h"

namespace Vorn35 {

/// Handle of one block: the block's own address as a number; 0 for none.
using mm_t = std::uintptr_t;
using ref_count_t = std::size_t;

/// Diagnostic record of one live block. Entries are written blank; the keys of the table are what counts.
struct Allocs_position {
    const char* srcfile = nullptr;
    const int srclines = 0;
    const char* srcfunc = nullptr;
};
using allocs_t = std::unordered_map<mm_t, Allocs_position>;

/// Layout of a block. The usable contents follow at once.
struct struct_smart_memory {
    std::atomic<ref_count_t> ref;  ///< A new block starts at 1.
    std::size_t siz;               ///< The size that was asked for.

    void* buf() { return this + 1; }
};

/// What a block costs beyond the size asked for, its own header included.
inline constexpr std::size_t c_block_overhead = 52;
static_assert(sizeof(struct_smart_memory) <= c_block_overhead);

/// Allocator of blocks. One reference belongs to one holder; the last `proc_free` returns the block.
///
/// Any thread may call any operation. There is no size limit and no pooling; exhausting the heap raises
/// `std::bad_alloc`. Blocks still held when the allocator is taken away (by a `History` that an application keeps past
/// `finalize`) stay valid and listed, and their last holder frees them.
class Ref_memory {
public:
    std::size_t alloc_total VORN35_GUARDED_BY(mtx) = 0;  ///< Sum of `siz` over the live blocks.
    /// Innermost of all locks: nothing is taken under it.
    Mutex<lock_order::memory> mtx;
    allocs_t allocs VORN35_GUARDED_BY(mtx);  ///< Its keys are the live blocks.
    /// Entries to be used again, so that a block is listed without a further allocation.
    std::vector<allocs_t::node_type> spare VORN35_GUARDED_BY(mtx);

    Ref_memory();
    Ref_memory(const Ref_memory&) = delete;
    Ref_memory& operator=(const Ref_memory&) = delete;

    /// Takes `mtx` and returns with it held: the allocator stands still until `proc_continue`.
    virtual void proc_stop() VORN35_ACQUIRE(mtx);
    virtual void proc_continue() VORN35_RELEASE(mtx);
    /// A new block with a count of 1, contents not cleared. Always 0 with this allocator.
    virtual Error eproc_alloc(mm_t* _mm_, std::size_t _size);
    /// Gives one reference back; the block dies with the last.
    virtual void proc_free(mm_t _mm);
    /// Adds a reference and returns the new count.
    virtual ref_count_t add_ref_get(mm_t _mm);
    virtual ref_count_t get_ref(mm_t _mm);
    virtual void* get_addr(mm_t _mm);
    virtual std::size_t get_size(mm_t _mm);
    /// True for every block: this allocator has no guard bytes.
    virtual bool is_clean_memory(mm_t _mm);

    /// `proc_free`, and the handle becomes 0. A null handle: nothing.
    void safe_free(mm_t* _mm_);
    /// `add_ref_get`; 0 for a null handle.
    ref_count_t safe_add_ref(mm_t _mm);
    /// What is allocated at present.
    struct Use {
        std::size_t blocks;
        std::size_t bytes;
    };
    Use use();
    /// Walks the live blocks and prints nothing.
    void printf_alloc_state();

    virtual ~Ref_memory() = default;
};

/// The allocator of the running process; null before `initialize_memory` and after `finalize_memory`.
extern Ref_memory* gp_memory;

/// What `gp_memory` points to whenever it points to anything, one for all lives of the runtime. A block is given back
/// here also while `gp_memory` is null, or is just being cleared: a thread that does so (of a `History`, of a member that
/// dies) holds no lock. Made at the first use and never destroyed, for static objects.
Ref_memory& lasting_memory();

}  // namespace Vorn35
