#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {79, 2}: the mounted file systems that store data. hostd/machine/disk_table.h owns them. A file system keeps its id
/// while it is mounted; it has no row while its size isn't known.
///
/// Sizes of 4 TiB and more are reported as 2^32 - 1 KiB. Size minus Free is the used size, with the same limit.
namespace contracts::disks {

inline constexpr std::array<uint32_t, 2> kPath = {79, 2};

// Fields: unit; source

inline constexpr tn::string_id MountPoint{1};  ///< PROC/self/mountinfo
inline constexpr tn::u32_id Size{5};           ///< KiB; statvfs(3), f_blocks
inline constexpr tn::u32_id Free{6};           ///< KiB, including the share reserved for root; statvfs(3), f_bfree

}  // namespace contracts::disks
