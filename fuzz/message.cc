// A flattened message from an untrusted peer: an accepted message is identical after another round trip.
#include <cstdlib>
#include <sstream>

#include "tn/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tn::message first;
    if (!tn::message::unflatten({data, size}, first)) {
        if (!first.empty()) std::abort();
        return 0;
    }
    const tn::flat_message again = first.flatten();
    tn::message second;
    if (again.size() != size || !tn::message::unflatten(again, second) || !(first == second)) std::abort();
    const tn::message copy = second;
    std::ostringstream text;
    text << copy;
    if (!(copy == first) || text.str().find('\n') != std::string::npos) std::abort();
    return 0;
}
