// A file of /proc, or dpkg's status file, as the owners of the plug-ins ucd and host read them, and those of the
// counters of IP and of links: whatever it contains, the values are in range and the rows in order.
//
// The first octet chooses the parser. A parser of two texts gets those before and after the first octet 0.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "hostd/inet/ip_counters.h"
#include "hostd/links/net_dev.h"
#include "hostd/machine/activity.h"
#include "hostd/machine/disk_activity.h"
#include "hostd/machine/disks.h"
#include "hostd/machine/hardware.h"
#include "hostd/machine/memory.h"
#include "hostd/machine/packages.h"
#include "hostd/machine/processes.h"
#include "hostd/machine/processor_loads.h"

namespace {

void need(bool condition) {
    if (!condition) std::abort();
}

void parseLoads(std::string_view text) {
    for (const uint32_t load : hostd::parseLoadavg(text)) need(load <= INT32_MAX);
}

void parseMemory(std::string_view text) {
    const hostd::Memory memory = hostd::parseMeminfo(text);
    need(!memory.total || !memory.available || *memory.available <= *memory.total);
    for (const std::string_view name : {"SwapTotal:", "Cached:", "Buffers:"}) (void)hostd::meminfoValue(text, name);
}

void parseStats(std::string_view text) {
    const size_t end = std::min(text.find('\0'), text.size());
    const std::string_view stat = text.substr(0, end);
    const std::string_view other = text.substr(std::min(end + 1, text.size()));
    (void)hostd::parseActivity(stat, other);
    hostd::ProcessorLoads loads;
    loads.update(1000, stat);
    loads.update(70'000, other);
    for (const auto& [id, percent] : loads.percent()) need(percent <= 100);
}

void parseDisks(std::string_view text) {
    for (const hostd::BlockCounters& device : hostd::parseDiskstats(text)) need(!device.key.empty());
}

void parseMounts(std::string_view text) {
    const auto disks = hostd::parseMountinfo(text);
    const auto all = hostd::parseMountinfo(text, hostd::MountChoice::WithMemory);
    need(disks.size() <= all.size());
    for (const hostd::Mount& one : all)
        need(std::ranges::count(all, one.device, &hostd::Mount::device) == 1 && !one.point.empty());
}

void parseProcessors(std::string_view text) { need(hostd::parseCpuinfo(text).size() <= text.size()); }

void parseOneProcess(std::string_view text) {
    const auto process = hostd::parseProcess(text);
    need(!process || process->name.size() <= text.size());
}

void parseInstalled(std::string_view text) {
    for (const hostd::Package& one : hostd::parsePackages(text)) need(one.key.size() <= text.size());
}

void parseCounters(std::string_view text) {
    hostd::KernelCounters all;
    hostd::addPairedCounters(text, all);
    hostd::addListedCounters(text, all);
    for (const auto& [name, value] : all) need(!name.empty() && hostd::valueOf(all, name) == value);
}

void parseLinks(std::string_view text) {
    for (const auto& [name, read] : hostd::parseNetDev(text)) {
        rtnl_link_stats64 counters{};
        counters.rx_missed_errors = read[0];
        hostd::updateCounters(read, counters);
        need(name.size() < text.size() && counters.rx_dropped <= read[3] && counters.tx_bytes == read[8]);
    }
}

constexpr std::array kParsers = {parseLoads,      parseMemory,     parseStats,     parseDisks,    parseMounts,
                                 parseProcessors, parseOneProcess, parseInstalled, parseCounters, parseLinks};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    kParsers[static_cast<uint8_t>(data[0] - '0') % kParsers.size()](text);
    return 0;
}
