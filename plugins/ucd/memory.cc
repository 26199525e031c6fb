// The group memory: kilobytes (1024 octets) of main memory and swap space. The objects whose names end in X have 64
// bits; the others stop at 2^31 - 1.

#include "contracts/memory.h"
#include "agent/mib/providers/data_provider.h"
#include "contracts/object_class.h"
#include "ucd.h"

namespace ucd {

namespace {

namespace memory = contracts::memory;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

/// An amount in KiB, with and without a limit.
struct Memory : snmp::Data {
    unsigned int totalSwap = 0, freeSwap = 0, total = 0, free = 0, allFree = 0, shared = 0, buffers = 0, cached = 0;
    unsigned long long totalSwapX = 0, freeSwapX = 0, totalX = 0, freeX = 0, allFreeX = 0, sharedX = 0, buffersX = 0,
                       cachedX = 0, available = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

std::unique_ptr<snmp::Data> Memory::build(const tn::message& m) {
    auto record = std::make_unique<Memory>();
    const auto both = [](unsigned int& number, unsigned long long& numberX, uint64_t value) {
        number = integer32(value);
        numberX = value;
    };
    both(record->totalSwap, record->totalSwapX, m.get_u64(memory::SwapTotal));
    both(record->freeSwap, record->freeSwapX, m.get_u64(memory::SwapFree));
    both(record->total, record->totalX, m.get_u64(memory::Total));
    both(record->free, record->freeX, m.get_u64(memory::Free));
    both(record->allFree, record->allFreeX, m.get_u64(memory::Free) + m.get_u64(memory::SwapFree));
    both(record->shared, record->sharedX, m.get_u64(memory::Shared));
    both(record->buffers, record->buffersX, m.get_u64(memory::Buffers));
    both(record->cached, record->cachedX, m.get_u64(memory::Cached) + m.get_u64(memory::Reclaimable));
    record->available = m.get_u64(memory::Available);
    return record;
}

constexpr auto kMemory = snmp::under(kUcd, 4);
constexpr snmp::Column<Memory> kObjects[] = {
    {1, "memIndex", tag::Integer, snmp::Constant{0}},  // always 0
    {2, "memErrorName", tag::OctetString, snmp::ConstantText{"swap"}},
    {3, "memTotalSwap", tag::Integer, &Memory::totalSwap},
    {4, "memAvailSwap", tag::Integer, &Memory::freeSwap},
    {5, "memTotalReal", tag::Integer, &Memory::total},
    {6, "memAvailReal", tag::Integer, &Memory::free},
    {11, "memTotalFree", tag::Integer, &Memory::allFree},
    {12, "memMinimumSwap", tag::Integer, snmp::Constant{0}},  // no minimum is set
    {13, "memShared", tag::Integer, &Memory::shared},
    {14, "memBuffer", tag::Integer, &Memory::buffers},
    {15, "memCached", tag::Integer, &Memory::cached},
    {18, "memTotalSwapX", tag::Counter64, &Memory::totalSwapX},
    {19, "memAvailSwapX", tag::Counter64, &Memory::freeSwapX},
    {20, "memTotalRealX", tag::Counter64, &Memory::totalX},
    {21, "memAvailRealX", tag::Counter64, &Memory::freeX},
    {22, "memTotalFreeX", tag::Counter64, &Memory::allFreeX},
    {23, "memMinimumSwapX", tag::Counter64, snmp::Constant{0}},
    {24, "memSharedX", tag::Counter64, &Memory::sharedX},
    {25, "memBufferX", tag::Counter64, &Memory::buffersX},
    {26, "memCachedX", tag::Counter64, &Memory::cachedX},
    {27, "memSysAvail", tag::Counter64, &Memory::available},
    {100, "memSwapError", tag::Integer, snmp::Constant{0}},
    {101, "memSwapErrorMsg", tag::OctetString, snmp::ConstantText{""}},
};
static_assert(snmp::ascending(kObjects));

}  // namespace

void startMemory() {
    auto* sizes = snmp::keep<snmp::GetProvider>(Memory::build, memory::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kMemory, kObjects, sizes);
}

}  // namespace ucd
