#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

// The machine as a whole. hostd/machine/system.h owns these four paths. A value that the kernel doesn't report is
// absent.

/// {24}: the machine itself.
namespace contracts::system {

inline constexpr std::array<uint32_t, 1> kPath = {24};

/// Command: restarts the machine. tn::error::Refused if the command line doesn't allow it or the restart fails.
inline constexpr uint32_t kReboot = 5;

}  // namespace contracts::system

/// {24, 0}: the time of day.
namespace contracts::system_time {

inline constexpr std::array<uint32_t, 2> kPath = {24, 0};

// Fields: unit; source

inline constexpr tn::u32_id Seconds{7};  ///< s since 1970, UTC; clock_gettime(CLOCK_REALTIME)
inline constexpr tn::u32_id Offset{27};  ///< s east of UTC now, two's complement; TZ or /etc/localtime

}  // namespace contracts::system_time

/// {24, 1}: the machine's identity. A set gets tn::error::Refused, since the name is configured on the machine itself.
namespace contracts::identity {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1};

inline constexpr tn::string_id Name{12};  ///< host name; uname(2), nodename

}  // namespace contracts::identity

/// {24, 2}: uptime, memory, disks, model and version of the machine. Its rows are the processors. A set is accepted and
/// changes nothing.
///
/// Sizes of 4 TiB and more are reported as 2^32 - 1 KiB. Total minus free is always the used size, with the same limit.
namespace contracts::system_info {

inline constexpr std::array<uint32_t, 2> kPath = {24, 2};

// Fields: unit; source

inline constexpr tn::u32_id Uptime{1};       ///< s since boot; clock_gettime(CLOCK_BOOTTIME)
inline constexpr tn::u32_id MemoryTotal{2};  ///< KiB; PROC/meminfo, MemTotal
inline constexpr tn::u32_id MemoryFree{3};   ///< KiB available without swapping; PROC/meminfo, MemAvailable
inline constexpr tn::string_id Model{4};     ///< SYSFS/class/dmi/id, or PROC/device-tree/model
inline constexpr tn::u32_id Processors{6};   ///< number online; SYSFS/devices/system/cpu/online
inline constexpr tn::u32_id DiskTotal{10};   ///< KiB of all local disks; PROC/self/mountinfo, statvfs(3)
inline constexpr tn::u32_id DiskFree{11};    ///< KiB of all local disks; as DiskTotal
inline constexpr tn::string_id Release{22};  ///< version of tarnix-hostd
inline constexpr tn::string_id Version{25};  ///< operating system and kernel; os-release(5), uname(2)

// Fields of a row. Its id is the kernel's number of the processor plus 1, since an SNMP index begins at 1.

inline constexpr tn::u32_id Load{9};  ///< percent busy over the last minute; PROC/stat

}  // namespace contracts::system_info
