#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1011}: main memory and swap space, as the kernel counts them. hostd/machine/memory_sizes.h owns them. For the
/// plug-ins ucd and host. A value that the kernel doesn't report is absent.
namespace contracts::memory {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1011};

// Fields: KiB; line of PROC/meminfo

inline constexpr tn::u64_id Total{1};        ///< MemTotal
inline constexpr tn::u64_id Free{2};         ///< unused; MemFree
inline constexpr tn::u64_id Available{3};    ///< what programs can still allocate without swapping; MemAvailable
inline constexpr tn::u64_id Buffers{4};      ///< raw blocks of disks; Buffers
inline constexpr tn::u64_id Cached{5};       ///< contents of files, those of tmpfs and shared memory included; Cached
inline constexpr tn::u64_id Reclaimable{6};  ///< caches of the kernel itself; SReclaimable
inline constexpr tn::u64_id Shared{7};       ///< tmpfs and shared memory; Shmem
inline constexpr tn::u64_id SwapTotal{8};    ///< SwapTotal
inline constexpr tn::u64_id SwapFree{9};     ///< SwapFree

}  // namespace contracts::memory
