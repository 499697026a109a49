#include "Vorn/Memory/Ref_memory.h"

#include <limits>
#include <memory>
#include <new>
#include <utility>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace Vorn35 {

Ref_memory* gp_memory = nullptr;

namespace {

/// Entries that are kept for later blocks; 72 bytes each.
constexpr std::size_t c_most_spare = 1024;

struct_smart_memory* block_of(mm_t _mm) {
    return reinterpret_cast<struct_smart_memory*>(_mm);
}

struct Block_delete {
    void operator()(struct_smart_memory* _block_) const {
        std::destroy_at(_block_);
        ::operator delete(_block_);
    }
};
using Block_owner = std::unique_ptr<struct_smart_memory, Block_delete>;

Block_owner make_block(std::size_t _size) {
    if (_size > std::numeric_limits<std::size_t>::max() - c_block_overhead) throw std::bad_alloc();
    Block_owner block(new (::operator new(_size + c_block_overhead)) struct_smart_memory{1, _size});
    // The overhead exceeds the block's own header; under ASan a touch of the surplus is an overrun.
    ASAN_POISON_MEMORY_REGION(static_cast<char*>(block->buf()) + _size, c_block_overhead - sizeof(struct_smart_memory));
    return block;
}

}  // namespace

Ref_memory& lasting_memory() {
    static Ref_memory& memory = *new Ref_memory;
    return memory;
}

Ref_memory::Ref_memory() {
    spare.reserve(c_most_spare);
    allocs.reserve(c_most_spare);
}

void Ref_memory::proc_stop() {
    mtx.lock();
}

void Ref_memory::proc_continue() {
    mtx.unlock();
}

Error Ref_memory::eproc_alloc(mm_t* _mm_, std::size_t _size) {
    Block_owner block = make_block(_size);
    const mm_t mm = reinterpret_cast<mm_t>(block.get());
    const Lock_guard guard(mtx);
    if (spare.empty()) {
        allocs.try_emplace(mm);
    } else {
        spare.back().key() = mm;
        allocs.insert(std::move(spare.back()));
        spare.pop_back();
    }
    alloc_total += _size;
    static_cast<void>(block.release());  // now listed: its holders own it
    *_mm_ = mm;
    return 0;
}

void Ref_memory::proc_free(mm_t _mm) {
    Block_owner dead;  // goes after the lock
    const Lock_guard guard(mtx);
    if (block_of(_mm)->ref.fetch_sub(1) != 1) return;
    dead.reset(block_of(_mm));
    alloc_total -= dead->siz;
    if (auto entry = allocs.extract(_mm); spare.size() < c_most_spare) spare.push_back(std::move(entry));
}

ref_count_t Ref_memory::add_ref_get(mm_t _mm) {
    const Lock_guard guard(mtx);
    return block_of(_mm)->ref.fetch_add(1) + 1;
}

ref_count_t Ref_memory::get_ref(mm_t _mm) {
    const Lock_guard guard(mtx);
    return block_of(_mm)->ref.load();
}

void* Ref_memory::get_addr(mm_t _mm) {
    return block_of(_mm)->buf();
}

std::size_t Ref_memory::get_size(mm_t _mm) {
    return block_of(_mm)->siz;
}

bool Ref_memory::is_clean_memory(mm_t /*_mm*/) {
    return true;
}

void Ref_memory::safe_free(mm_t* _mm_) {
    if (*_mm_ == 0) return;
    proc_free(std::exchange(*_mm_, 0));
}

ref_count_t Ref_memory::safe_add_ref(mm_t _mm) {
    return _mm == 0 ? 0 : add_ref_get(_mm);
}

Ref_memory::Use Ref_memory::use() {
    const Lock_guard guard(mtx);
    return {allocs.size(), alloc_total};
}

void Ref_memory::printf_alloc_state() {
    const Lock_guard guard(mtx);
    for ([[maybe_unused]] const auto& entry : allocs) {
    }
}

}  // namespace Vorn35
