// The heap of a fuzzer, and its end. A file by itself, so that no compiler sees into both `new` and `delete`.
#include <cstddef>
#include <cstdlib>
#include <new>

/// A peer may announce 4 GiB. No sanitizer bears that for long, so the heap of a fuzzer has its end here, and what
/// happens there is fuzzed, too.
constexpr std::size_t c_heap_end = 32 * 1024 * 1024;

void* operator new(std::size_t _size, const std::nothrow_t&) noexcept {
    return _size > c_heap_end ? nullptr : std::malloc(_size);
}
void* operator new(std::size_t _size) {
    void* const block = operator new(_size, std::nothrow);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* _block) noexcept {
    std::free(_block);
}
void operator delete(void* _block, std::size_t) noexcept {
    std::free(_block);
}
