#include "tn/heap.h"

#include <mimalloc.h>

#include <cstddef>
#include <new>

// Null in a program that isn't linked with it.
#pragma weak mi_collect
#pragma weak mi_option_get
#pragma weak mi_option_set

namespace tn {

namespace {
constexpr size_t kOwnPages = size_t{256} << 10;  // octets of a block that has pages of its own
}

void returnFreedMemory() {
    if (&mi_collect == nullptr) return;
    // The next free of whole pages returns those that were freed before.
    ::operator delete(::operator new(kOwnPages));
    // Those that are freed now don't wait for another free.
    const long delay = mi_option_get(mi_option_decommit_delay);
    mi_option_set(mi_option_decommit_delay, 0);
    mi_collect(/*force=*/true);
    mi_option_set(mi_option_decommit_delay, delay);
}

}  // namespace tn
