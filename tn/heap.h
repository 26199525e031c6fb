#pragma once

namespace tn {

// The allocator of the daemons is mimalloc. Tests and sanitizer builds have another one, for which these do nothing.

/// Makes the allocator return each freed run of pages to the kernel at once. By default, it does so with a later free
/// of this thread: an idle process would keep the memory of its last burst.
void returnFreedPagesAtOnce();

/// Returns all memory that this thread has freed. The allocator otherwise retains up to 512 KiB for each size of block,
/// which after messages of many sizes is several MiB.
void returnFreedMemory();

}  // namespace tn
