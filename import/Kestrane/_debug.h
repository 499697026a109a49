/// @file
/// Call stacks for messages about faults.
#pragma once

#include <array>

namespace Kestrane {

/// The calls that led to a place. Trivial to copy and to destroy.
struct Call_stack {
    std::array<void*, 24> frames;
    int depth;

    /// Records the stack of the calling thread; allocates nothing.
    void capture();
    /// Writes one line a call to the standard error.
    void print() const;
};

}  // namespace Kestrane
