/// @file
/// The snapshot behind a `History`.
#pragma once

#include <vector>

#include "Vorn/Memory/vorn_memory.h"
#include "Vorn35/History.h"

namespace Vorn35 {

/// Owns one reference to each block of each of its tokens, and gives them back when it is destroyed. Made by
/// the `see_history` operations with `new`; lives inside exactly one `History`. Not guarded.
struct Letter_case {
    std::vector<Token> token_vect;

    Letter_case() = default;
    /// Copies the tokens and adds a reference to each block.
    Letter_case(const Letter_case& _other) : token_vect(_other.token_vect) {
        for (const Token& token : token_vect) safe_add_ref_token(token);
    }
    Letter_case& operator=(const Letter_case&) = delete;
    ~Letter_case() {
        for (Token& token : token_vect) token.free();
    }

    /// Appends a token and adds a reference to each of its blocks. The caller keeps its references.
    void append(Token _token) {
        token_vect.push_back(_token);
        safe_add_ref_token(_token);
    }
};

}  // namespace Vorn35
