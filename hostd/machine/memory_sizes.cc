#include "hostd/machine/memory_sizes.h"

#include <utility>

#include "contracts/memory.h"
#include "hostd/machine/memory.h"

namespace hostd {

namespace memory = contracts::memory;

tn::message MemorySizes::cmdGet(const tn::message&) {
    static constexpr std::pair<tn::u64_id, std::string_view> kLines[] = {
        {memory::Total, "MemTotal:"},  {memory::Free, "MemFree:"},        {memory::Available, "MemAvailable:"},
        {memory::Buffers, "Buffers:"}, {memory::Cached, "Cached:"},       {memory::Reclaimable, "SReclaimable:"},
        {memory::Shared, "Shmem:"},    {memory::SwapTotal, "SwapTotal:"}, {memory::SwapFree, "SwapFree:"},
    };
    const std::string_view text = meminfo_.read();
    tn::message reply;
    for (const auto& [field, name] : kLines)
        if (const auto value = meminfoValue(text, name)) reply.insert_u64(field, *value);
    return reply;
}

}  // namespace hostd
