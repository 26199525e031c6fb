#include "tn/heap.h"

#include <mimalloc.h>

// Null in a program that isn't linked with it.
#pragma weak mi_collect
#pragma weak mi_option_set

namespace tn {

void returnFreedPagesAtOnce() {
    if (&mi_option_set != nullptr) mi_option_set(mi_option_decommit_delay, 0);
}

void returnFreedMemory() {
    if (&mi_collect != nullptr) mi_collect(/*force=*/true);
}

}  // namespace tn
