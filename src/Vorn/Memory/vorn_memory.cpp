#include "Vorn/Memory/vorn_memory.h"

#include <atomic>
#include <chrono>
#include <limits>
#include <new>
#include <thread>

#include "Vorn35/vorn_error.h"

namespace Vorn35 {

namespace {

/// `gp_memory` for a thread that holds no lock.
Ref_memory* memory_now() {
    return std::atomic_ref(gp_memory).load();
}

Error alloc_block(mm_t* _mm_, std::size_t _size) {
    Ref_memory* const memory = memory_now();
    return memory != nullptr ? memory->eproc_alloc(_mm_, _size) : VORN_ERR_EMPTY_VORN_MEMORY_;
}

/// Retries `_alloc` until it succeeds. Without `gp_memory` none ever would, so that the handle becomes 0 and
/// the operation returns: a caller that may run past `finalize_memory` looks at its handle.
template <class Alloc>
void retry(mm_t* _mm_, Alloc _alloc) {
    while (_alloc() != 0) {
        if (memory_now() == nullptr) {
            *_mm_ = 0;
            return;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

}  // namespace

void initialize_memory() {
    std::atomic_ref(gp_memory).store(&lasting_memory());
}

void finalize_memory() {
    std::atomic_ref(gp_memory).store(nullptr);
}

void print_memory() {
    lasting_memory().printf_alloc_state();
}

// ---- Blocks

void* get_ptr(mm_t _mm) {
    return _mm == 0 ? nullptr : lasting_memory().get_addr(_mm);
}

std::size_t get_ptr_size(mm_t _mm) {
    return lasting_memory().get_size(_mm);
}

Packet* get_header(mm_t _mm) {
    return static_cast<Packet*>(get_ptr(_mm));
}

Packet* get_header(Token _token) {
    return get_header(_token.header_mm);
}

void* get_data(mm_t _mm) {
    return _mm == 0 ? nullptr : get_header(_mm) + 1;
}

void* get_data(Token _token) {
    return get_data(_token.data_mm);
}

std::size_t get_data_size(mm_t _mm) {
    return get_ptr_size(_mm) - sizeof(Packet);
}

bool is_clean_memory(mm_t _mm) {
    return lasting_memory().is_clean_memory(_mm);
}

// ---- Allocation

Error eproc_alloc_header(mm_t* _mm_) {
    return alloc_block(_mm_, sizeof(Packet));
}

Error eproc_alloc_header(Token* _token_) {
    return eproc_alloc_header(&_token_->header_mm);
}

void proc_alloc_header_force(mm_t* _mm_) {
    retry(_mm_, [=] { return eproc_alloc_header(_mm_); });
}

void proc_alloc_header_force(Token* _token_) {
    proc_alloc_header_force(&_token_->header_mm);
}

Error eproc_alloc_data(mm_t* _mm_, std::size_t _size) {
    if (_size > std::numeric_limits<std::size_t>::max() - sizeof(Packet)) throw std::bad_alloc();
    return alloc_block(_mm_, _size + sizeof(Packet)) == 0 ? VORN_ERR_NONE_ : VORN_ERR_EMPTY_VORN_MEMORY_;
}

Error eproc_alloc_data(Token* _token_, std::size_t _size) {
    return eproc_alloc_data(&_token_->data_mm, _size);
}

void proc_alloc_data_force(mm_t* _mm_, std::size_t _size) {
    retry(_mm_, [=] { return eproc_alloc_data(_mm_, _size); });
}

// ---- References

void safe_free_mm(mm_t* _mm_) {
    lasting_memory().safe_free(_mm_);
}

void safe_free_header(Token* _token_) {
    safe_free_mm(&_token_->header_mm);
}

void safe_free_data(Token* _token_) {
    safe_free_mm(&_token_->data_mm);
}

void safe_free_token(Token* _token_) {
    safe_free_header(_token_);
    safe_free_data(_token_);
}

ref_count_t safe_add_ref_mm(mm_t _mm) {
    return lasting_memory().safe_add_ref(_mm);
}

ref_count_t safe_add_ref_header(Token _token) {
    return safe_add_ref_mm(_token.header_mm);
}

ref_count_t safe_add_ref_data(Token _token) {
    return safe_add_ref_mm(_token.data_mm);
}

void safe_add_ref_token(Token _token) {
    safe_add_ref_header(_token);
    safe_add_ref_data(_token);
}

// ---- Token

void Token::set_header(Token _other) {
    header_mm = _other.header_mm;
    ref_header();
}

void Token::set_data(Token _other) {
    data_mm = _other.data_mm;
    ref_data();
}

void Token::ref_header() {
    safe_add_ref_header(*this);
}

void Token::ref_data() {
    safe_add_ref_data(*this);
}

void Token::free() {
    safe_free_token(this);
}

void Token::free_header() {
    safe_free_header(this);
}

void Token::free_data() {
    safe_free_data(this);
}

Packet* Token::get_header_packet() const {
    return get_header(header_mm);
}

Packet* Token::get_data_packet() const {
    return get_header(data_mm);
}

void* Token::get_data() const {
    return Vorn35::get_data(data_mm);
}

void Token::alloc_header_force() {
    proc_alloc_header_force(this);
}

Error Token::alloc_header() {
    return eproc_alloc_header(this);
}

Error Token::alloc_data(std::size_t _size) {
    return eproc_alloc_data(this, _size);
}

}  // namespace Vorn35
