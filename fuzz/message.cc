// A packet from an untrusted peer: an accepted message is identical after another round trip, and those of a packet
// are what it consists of.
#include <cstdlib>
#include <sstream>

#include "tn/message.h"

namespace {

void checkPacket(std::span<const uint8_t> bytes) {
    std::vector<tn::message> packet;
    if (!tn::message::unflatten(bytes, packet)) return packet.empty() ? void() : std::abort();
    tn::flat_message again;
    for (const tn::message& m : packet) m.flattenTo(again);
    if (again.size() != bytes.size() || packet.size() > tn::kMaxTogether) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkPacket({data, size});
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
