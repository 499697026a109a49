/// @file
/// The blocks that outlived their allocator.
#pragma once

#include "Vorn/Memory/Ref_memory.h"

namespace Vorn35 {

/// Lists the blocks that were still held when their `Ref_memory` was destroyed. Nothing is ever allocated
/// here.
///
/// A block's count lies in the block and is atomic, so any allocator may count it; the last holder erases it
/// from whichever of the two tables lists it. Stands in for `gp_memory` while that is null. Made at the first
/// use and never destroyed, so that a static `History` may still free into it. Any thread.
Ref_memory& orphan_memory();

}  // namespace Vorn35
