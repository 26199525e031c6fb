#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "agent/mib/columns.h"

/// The whole of HOST-RESOURCES-MIB (RFC 2790) but printers. It replaces the agent's hrStorageTable, hrDeviceTable and
/// hrProcessorTable.
namespace host {

constexpr auto kHost = snmp::under(snmp::kMib2, 25);
constexpr auto kStorageTypes = snmp::under(kHost, 2, 1);
constexpr auto kDevices = snmp::under(kHost, 3);

/// A size as an Integer32: 2^31 - 1 if it is larger.
inline unsigned int integer32(uint64_t value) {
    return static_cast<unsigned int>(std::min<uint64_t>(value, INT32_MAX));
}

/// hrStorageIndex of a file system: its id at its owner, with these bits set.
constexpr uint32_t kFileSystemIndexes = 0x20000;

constexpr size_t kMaxName = 64;   ///< octets of hrDeviceDescr, hrSWRunName, hrSWInstalledName
constexpr size_t kMaxText = 128;  ///< octets of the other texts

// Values of TruthValue, and of the columns that say whether a disk or file system can be written.
constexpr unsigned int kTrue = 1, kFalse = 2;
constexpr unsigned int kReadWrite = 1, kReadOnly = 2;

// Called once, from autorun().
void startSystem();       ///< hrSystem
void startStorage();      ///< hrStorageTable
void startDevices();      ///< hrDeviceTable, hrProcessorTable, hrNetworkTable, hrDiskStorageTable, hrPartitionTable
void startFileSystems();  ///< hrFSTable
void startProcesses();    ///< hrSWRun, hrSWRunPerf
void startPackages();     ///< hrSWInstalled

}  // namespace host
