// The heap of a fuzzer, and its end: a peer may announce 4 GiB, which no sanitizer bears for long; and what happens where
// there is no memory is fuzzed, too. A file by itself, so that no compiler sees into both `new` and `delete`.
#include <cstdlib>
#include <new>

void* operator new(std::size_t _size) {
    void* const block = _size > 32 * 1024 * 1024 ? nullptr : std::malloc(_size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void operator delete(void* _block) noexcept {
    std::free(_block);
}
void operator delete(void* _block, std::size_t) noexcept {
    std::free(_block);
}
