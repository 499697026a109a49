// The heap of a fuzzer refuses more than 32 MiB at once: a peer may announce 4 GiB, which a sanitizer handles too
// slowly, and so the paths without memory are fuzzed, too. A file of its own, so that no compiler inlines both ends.
#include <cstdlib>
#include <new>

void* operator new(std::size_t _size, const std::nothrow_t&) noexcept {
    return _size > 32 * 1024 * 1024 ? nullptr : std::malloc(_size);
}
void* operator new(std::size_t _size) {
    if (void* const block = operator new(_size, std::nothrow)) return block;
    throw std::bad_alloc();
}
void operator delete(void* _block) noexcept {
    std::free(_block);
}
void operator delete(void* _block, std::size_t) noexcept {
    std::free(_block);
}
