#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

// What the processors and disks have done. For the plug-in ucd.

/// {24, 1012}: processors, interrupts and paging. hostd/machine/activity.h owns them. A value that the kernel doesn't
/// report is absent.
namespace contracts::activity {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1012};

// Counters since boot. The times are sums over all processors, in hundredths of a second; PROC/stat

inline constexpr tn::u64_id User{1};        ///< includes Guest
inline constexpr tn::u64_id Nice{2};        ///< includes GuestNice
inline constexpr tn::u64_id System{3};      ///< the kernel, without its interrupts
inline constexpr tn::u64_id Idle{4};        ///< may decrease
inline constexpr tn::u64_id Wait{5};        ///< idle while a disk is waited for; may decrease
inline constexpr tn::u64_id Interrupt{6};   ///< hardware interrupts
inline constexpr tn::u64_id SoftIrq{7};     ///< deferred work of interrupts
inline constexpr tn::u64_id Steal{8};       ///< taken by the hypervisor
inline constexpr tn::u64_id Guest{9};       ///< running virtual machines
inline constexpr tn::u64_id GuestNice{10};  ///< running virtual machines with lower priority
inline constexpr tn::u64_id Interrupts{11};
inline constexpr tn::u64_id ContextSwitches{12};
inline constexpr tn::u64_id ReadKib{13};     ///< KiB read from disks; PROC/vmstat, pgpgin
inline constexpr tn::u64_id WrittenKib{14};  ///< KiB written to disks; PROC/vmstat, pgpgout
inline constexpr tn::u64_id SwappedIn{15};   ///< pages; PROC/vmstat, pswpin
inline constexpr tn::u64_id SwappedOut{16};  ///< pages; PROC/vmstat, pswpout
inline constexpr tn::u32_id Processors{17};  ///< number online
inline constexpr tn::u32_id PageOctets{18};  ///< size of a page; sysconf(3)

// Means over the last minute, without suspended time. At the first request they are those since boot.

inline constexpr tn::u32_id UserPercent{21};    ///< User and Nice
inline constexpr tn::u32_id SystemPercent{22};  ///< System, Interrupt and SoftIrq
inline constexpr tn::u32_id IdlePercent{23};
inline constexpr tn::u32_id InterruptRate{24};      ///< per second
inline constexpr tn::u32_id ContextSwitchRate{25};  ///< per second
inline constexpr tn::u32_id ReadRate{26};           ///< KiB per second
inline constexpr tn::u32_id WriteRate{27};          ///< KiB per second
inline constexpr tn::u32_id SwapInRate{28};         ///< pages per second
inline constexpr tn::u32_id SwapOutRate{29};        ///< pages per second

}  // namespace contracts::activity

/// {24, 1013}: the load averages; rows 1 to 3. hostd/machine/activity.h owns them.
namespace contracts::load_averages {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1013};

inline constexpr tn::u32_id Minutes{1};  ///< period of the average: 1, 5 or 15
inline constexpr tn::u32_id Load{2};     ///< hundredths; PROC/loadavg

}  // namespace contracts::load_averages

/// {24, 1014}: the block devices: disks, partitions, mapped devices. Loop devices and RAM disks that were never used
/// aren't listed. hostd/machine/disk_activity.h owns them. A device keeps its id while it exists.
namespace contracts::disk_activity {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1014};

// Fields: since the device was added; PROC/diskstats

inline constexpr tn::string_id Name{1};  ///< of the kernel: "sda1"
inline constexpr tn::u64_id Reads{2};    ///< completed requests
inline constexpr tn::u64_id ReadOctets{3};
inline constexpr tn::u64_id Writes{4};  ///< completed requests
inline constexpr tn::u64_id WrittenOctets{5};
inline constexpr tn::u64_id Busy{6};  ///< ms with requests in progress

// Percent of the time that it was busy: means that fade over this time. At the first request they are those since boot.

inline constexpr tn::u32_id Busy1Minute{7};
inline constexpr tn::u32_id Busy5Minutes{8};
inline constexpr tn::u32_id Busy15Minutes{9};

}  // namespace contracts::disk_activity
