#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1010}: the mounted file systems that store data, those in memory included: what contracts/disks.h lists, and
/// tmpfs. hostd/machine/file_systems.h owns them. For the plug-ins ucd and host. A file system keeps its id while it is
/// mounted; it has no row while its size isn't known.
namespace contracts::file_systems {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1010};

// Fields: unit; source

inline constexpr tn::string_id MountPoint{1};  ///< PROC/self/mountinfo, as the next four
inline constexpr tn::string_id Source{2};      ///< "/dev/sda1", "server:/path"
inline constexpr tn::string_id Type{3};        ///< "ext4"
inline constexpr tn::string_id Device{4};      ///< major:minor
inline constexpr tn::u32_id Kind{5};           ///< one of kind
inline constexpr tn::bool_id ReadOnly{6};      ///< the whole file system is; absent if not
inline constexpr tn::u32_id Unit{7};           ///< octets of an allocation unit; statvfs(3), f_frsize
inline constexpr tn::u64_id Size{8};           ///< KiB; statvfs(3), f_blocks
inline constexpr tn::u64_id Free{9};           ///< KiB, including the share reserved for root; f_bfree
inline constexpr tn::u64_id Available{10};     ///< KiB, without that share; f_bavail
inline constexpr tn::u64_id Files{11};         ///< inodes; 0 if their number isn't limited; f_files
inline constexpr tn::u64_id FreeFiles{12};     ///< inodes; f_ffree

/// Where the data is.
namespace kind {
inline constexpr uint32_t Local = 1;   ///< on a local disk or raw flash
inline constexpr uint32_t Remote = 2;  ///< on another machine, or, in a virtual machine, on its host
inline constexpr uint32_t Memory = 3;
}  // namespace kind

}  // namespace contracts::file_systems
