#pragma once

#include <algorithm>
#include <cstdint>

#include "agent/mib/columns.h"

/// UCD-SNMP-MIB and UCD-DISKIO-MIB: memory, load, processors, file systems and disks, from /proc and statvfs(3).
///
/// The modules' limits (memMinimumSwap, dskMinimum, laConfig) are set in a file of configuration that doesn't exist
/// here: none is set, so no error flag ever is.
namespace ucd {

constexpr auto kUcd = snmp::under(snmp::kInternet, 4, 1, 2021);

/// A size as an Integer32: 2^31 - 1 if it is larger.
inline unsigned int integer32(uint64_t value) {
    return static_cast<unsigned int>(std::min<uint64_t>(value, INT32_MAX));
}

constexpr size_t kMaxText = 255;  ///< octets of a DisplayString

// Called once, from autorun().
void startMemory();       ///< memory
void startFileSystems();  ///< dskTable
void startLoad();         ///< laTable
void startStatistics();   ///< systemStats
void startDiskIo();       ///< diskIOTable

}  // namespace ucd
