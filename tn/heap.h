#pragma once

namespace tn {

/// Returns all memory that this thread has freed to the kernel, except what it freed in the last 25 ms. The daemons'
/// allocator, mimalloc, otherwise retains up to 512 KiB for each size of block, and returns freed pages only with a
/// later free. With another allocator (tests and sanitizer builds), it does nothing.
void returnFreedMemory();

}  // namespace tn
