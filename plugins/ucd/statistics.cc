// The group systemStats: what processors, interrupts and paging have done. A block of the ssIO objects has 512 octets,
// one of ssRawSwapIn and ssRawSwapOut is a page. Linux counts the kernel's time once, as ssCpuRawSystem: there is no
// ssCpuRawKernel.

#include "agent/mib/providers/data_provider.h"
#include "contracts/activity.h"
#include "contracts/object_class.h"
#include "ucd.h"

namespace ucd {

namespace {

namespace activity = contracts::activity;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

constexpr uint64_t kBlocksPerKib = 2;

struct Activity : snmp::Data {
    // Means over the last minute.
    unsigned int swapIn = 0, swapOut = 0;            // KiB/s
    unsigned int written = 0, read = 0;              // blocks/s
    unsigned int interruptRate = 0, switchRate = 0;  // 1/s
    unsigned int userPercent = 0, systemPercent = 0, idlePercent = 0;
    // Counters, which wrap. The times are in hundredths of a second, of all processors together.
    unsigned int user = 0, nice = 0, system = 0, idle = 0, wait = 0, interrupt = 0, softIrq = 0, steal = 0, guest = 0,
                 guestNice = 0;
    unsigned int blocksWritten = 0, blocksRead = 0;
    unsigned int interrupts = 0, switches = 0;
    unsigned int pagesIn = 0, pagesOut = 0;
    unsigned int processors = 0;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

std::unique_ptr<snmp::Data> Activity::build(const tn::message& m) {
    auto record = std::make_unique<Activity>();
    const auto low = [&m](tn::u64_id field, uint64_t factor = 1) {
        return static_cast<unsigned int>(m.get_u64(field) * factor);
    };
    const uint64_t pageOctets = m.get_u32(activity::PageOctets);
    record->swapIn = integer32(m.get_u32(activity::SwapInRate) * pageOctets / 1024);
    record->swapOut = integer32(m.get_u32(activity::SwapOutRate) * pageOctets / 1024);
    record->written = integer32(m.get_u32(activity::WriteRate) * kBlocksPerKib);
    record->read = integer32(m.get_u32(activity::ReadRate) * kBlocksPerKib);
    record->interruptRate = integer32(m.get_u32(activity::InterruptRate));
    record->switchRate = integer32(m.get_u32(activity::ContextSwitchRate));
    record->userPercent = m.get_u32(activity::UserPercent);
    record->systemPercent = m.get_u32(activity::SystemPercent);
    record->idlePercent = m.get_u32(activity::IdlePercent);
    record->user = low(activity::User);
    record->nice = low(activity::Nice);
    record->system = low(activity::System);
    record->idle = low(activity::Idle);
    record->wait = low(activity::Wait);
    record->interrupt = low(activity::Interrupt);
    record->softIrq = low(activity::SoftIrq);
    record->steal = low(activity::Steal);
    record->guest = low(activity::Guest);
    record->guestNice = low(activity::GuestNice);
    record->blocksWritten = low(activity::WrittenKib, kBlocksPerKib);
    record->blocksRead = low(activity::ReadKib, kBlocksPerKib);
    record->interrupts = low(activity::Interrupts);
    record->switches = low(activity::ContextSwitches);
    record->pagesIn = low(activity::SwappedIn);
    record->pagesOut = low(activity::SwappedOut);
    record->processors = m.get_u32(activity::Processors);
    return record;
}

constexpr auto kSystemStats = snmp::under(kUcd, 11);
constexpr snmp::Column<Activity> kObjects[] = {
    {1, "ssIndex", tag::Integer, snmp::Constant{1}},  // always 1
    {2, "ssErrorName", tag::OctetString, snmp::ConstantText{"systemStats"}},
    {3, "ssSwapIn", tag::Integer, &Activity::swapIn},
    {4, "ssSwapOut", tag::Integer, &Activity::swapOut},
    {5, "ssIOSent", tag::Integer, &Activity::written},
    {6, "ssIOReceive", tag::Integer, &Activity::read},
    {7, "ssSysInterrupts", tag::Integer, &Activity::interruptRate},
    {8, "ssSysContext", tag::Integer, &Activity::switchRate},
    {9, "ssCpuUser", tag::Integer, &Activity::userPercent},
    {10, "ssCpuSystem", tag::Integer, &Activity::systemPercent},
    {11, "ssCpuIdle", tag::Integer, &Activity::idlePercent},
    {50, "ssCpuRawUser", tag::Counter32, &Activity::user},
    {51, "ssCpuRawNice", tag::Counter32, &Activity::nice},
    {52, "ssCpuRawSystem", tag::Counter32, &Activity::system},
    {53, "ssCpuRawIdle", tag::Counter32, &Activity::idle},
    {54, "ssCpuRawWait", tag::Counter32, &Activity::wait},
    {56, "ssCpuRawInterrupt", tag::Counter32, &Activity::interrupt},
    {57, "ssIORawSent", tag::Counter32, &Activity::blocksWritten},
    {58, "ssIORawReceived", tag::Counter32, &Activity::blocksRead},
    {59, "ssRawInterrupts", tag::Counter32, &Activity::interrupts},
    {60, "ssRawContexts", tag::Counter32, &Activity::switches},
    {61, "ssCpuRawSoftIRQ", tag::Counter32, &Activity::softIrq},
    {62, "ssRawSwapIn", tag::Counter32, &Activity::pagesIn},
    {63, "ssRawSwapOut", tag::Counter32, &Activity::pagesOut},
    {64, "ssCpuRawSteal", tag::Counter32, &Activity::steal},
    {65, "ssCpuRawGuest", tag::Counter32, &Activity::guest},
    {66, "ssCpuRawGuestNice", tag::Counter32, &Activity::guestNice},
    {67, "ssCpuNumCpus", tag::Integer, &Activity::processors},
};
static_assert(snmp::ascending(kObjects));

}  // namespace

void startStatistics() {
    auto* counters =
        snmp::keep<snmp::GetProvider>(Activity::build, activity::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kSystemStats, kObjects, counters);
}

}  // namespace ucd
