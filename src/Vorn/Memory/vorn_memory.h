/// @file
/// `Token`, the pair of handles by which every message is passed around, and the operations over `gp_memory`.
///
/// The prefix of a name is its contract: the caller of an `eproc_` operation must check the `Error`; a `proc_` operation
/// cannot report a failure, and retries until it succeeds if it ends in `_force`; a `safe_` operation ignores a null handle.
///
/// Copying or destroying a `Token` does not change a reference count: every path must end in a `free` or in a hand-off.
#pragma once

#include <cstddef>

#include "Vorn/Memory/Ref_memory.h"
#include "Vorn/struct.h"

namespace Vorn35 {

/// Two handles: a header block that holds one `Packet`, and a data block that holds a `Packet`-sized prefix and
/// then the payload. A plain value of two words; see the file comment for ownership.
struct Token {
    mm_t header_mm = 0;
    mm_t data_mm = 0;

    bool has_header() const { return header_mm != 0; }
    bool has_data() const { return data_mm != 0; }

    /// Forgets both handles; releases nothing.
    void reset() { header_mm = data_mm = 0; }
    /// Forgets the data handle; releases nothing.
    void reset_data() { data_mm = 0; }

    /// Adds a reference to the other's header and stores it here. Does not release what this token held.
    void set_header(Token _other);
    /// The same for the data.
    void set_data(Token _other);

    void ref_header();
    void ref_data();

    /// Gives both references back and clears the handles. Other copies of the token keep theirs.
    void free();
    void free_header();
    void free_data();

    Packet* get_header_packet() const;
    /// The `Packet` in the prefix of the data block.
    Packet* get_data_packet() const;
    void* get_data() const;

    void alloc_header_force();
    Error alloc_header();
    Error alloc_data(std::size_t _size);
};

/// Makes `gp_memory`. First step of `initialize`.
void initialize_memory();
/// Clears `gp_memory`. Blocks still held stay valid for their holders, who may give them back meanwhile.
void finalize_memory();
void print_memory();

Packet* get_header(Token _token);
Packet* get_header(mm_t _mm);
void* get_data(Token _token);
void* get_data(mm_t _mm);
void* get_ptr(mm_t _mm);
/// Bytes of payload that the data block holds. The handle must not be 0.
std::size_t get_data_size(mm_t _mm);
std::size_t get_ptr_size(mm_t _mm);

Error eproc_alloc_header(mm_t* _mm_);
Error eproc_alloc_header(Token* _token_);
void proc_alloc_header_force(mm_t* _mm_);
void proc_alloc_header_force(Token* _token_);
/// @return 0, or "VORN_ERR_EMPTY_VORN_MEMORY_" for every failure.
Error eproc_alloc_data(mm_t* _mm_, std::size_t _size);
Error eproc_alloc_data(Token* _token_, std::size_t _size);
void proc_alloc_data_force(mm_t* _mm_, std::size_t _size);

bool is_clean_memory(mm_t _mm);

void safe_free_header(Token* _token_);
void safe_free_data(Token* _token_);
void safe_free_mm(mm_t* _mm_);
/// The header and then the data.
void safe_free_token(Token* _token_);
ref_count_t safe_add_ref_header(Token _token);
ref_count_t safe_add_ref_data(Token _token);
ref_count_t safe_add_ref_mm(mm_t _mm);
/// The header and then the data.
void safe_add_ref_token(Token _token);

}  // namespace Vorn35
