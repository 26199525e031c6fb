#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

// More about the machine itself, its devices and its software. For the plug-in host. A value that the kernel doesn't
// report is absent.

/// {24, 1020}: who uses the machine, and how it was started. hostd/machine/host_facts.h owns it.
namespace contracts::host_facts {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1020};

inline constexpr tn::u32_id Users{1};              ///< sessions of users; utmp(5)
inline constexpr tn::string_id BootParameters{2};  ///< the kernel's command line; PROC/cmdline

}  // namespace contracts::host_facts

/// {24, 1021}: processors, disks and network interfaces, in this order. hostd/machine/hardware.h owns them. Loop
/// devices, RAM disks and mapped devices aren't disks. A disk keeps its id while it exists.
///
/// A get without a row returns LoadDevice.
namespace contracts::hardware {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1021};

// Fields

inline constexpr tn::u32_id Kind{1};  ///< one of kind
inline constexpr tn::string_id Description{2};
inline constexpr tn::u32_id Status{3};      ///< one of status
inline constexpr tn::u32_id Interface{4};   ///< of a network interface: its ifindex
inline constexpr tn::u32_id Media{5};       ///< of a disk: one of media; from its name
inline constexpr tn::u64_id Size{6};        ///< of a disk: KiB; SYSFS/block/NAME/size
inline constexpr tn::bool_id ReadOnly{7};   ///< of a disk; absent if not; SYSFS/block/NAME/ro
inline constexpr tn::bool_id Removable{8};  ///< of a disk; absent if not; SYSFS/block/NAME/removable
inline constexpr tn::u32_id LoadDevice{9};  ///< id of the disk with the root file system; absent if there is none

/// Values of Kind. The id of a processor is the kernel's number plus 1, as in contracts/system.h; that of a network
/// interface is its ifindex plus kFirstInterface; those of disks are between.
namespace kind {
inline constexpr uint32_t Processor = 1;
inline constexpr uint32_t Disk = 2;
inline constexpr uint32_t Interface = 3;
}  // namespace kind
inline constexpr uint32_t kFirstDisk = 0x20000;
inline constexpr uint32_t kFirstInterface = 0x40000;

/// Values of Status.
namespace status {
inline constexpr uint32_t Unknown = 1;
inline constexpr uint32_t Running = 2;
inline constexpr uint32_t Down = 5;
}  // namespace status

/// Values of Media.
namespace media {
inline constexpr uint32_t Disk = 3;  ///< solid-state disks, too
inline constexpr uint32_t Floppy = 4;
inline constexpr uint32_t Optical = 5;
}  // namespace media

}  // namespace contracts::hardware

/// {24, 1022}: the partitions of disks, keyed by Disk and Number. hostd/machine/hardware.h owns them.
namespace contracts::partitions {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1022};

inline constexpr tn::u32_id Disk{1};       ///< key: id at contracts::hardware
inline constexpr tn::u32_id Number{2};     ///< key: of the partition; SYSFS/block/DISK/NAME/partition
inline constexpr tn::string_id Name{3};    ///< "/dev/sda1"
inline constexpr tn::string_id Device{4};  ///< major:minor
inline constexpr tn::u64_id Size{5};       ///< KiB

/// Id at contracts::file_systems of the one on the partition. hostd doesn't send it: the agent adds it.
inline constexpr tn::u32_id FileSystem{6};

}  // namespace contracts::partitions

/// {24, 1023}: the processes. hostd/machine/processes.h owns them. A row's id is the pid; which there are may be
/// known up to 2 s late, after a pause up to 30 s. A process that has ended meanwhile has a row without fields.
///
/// A get without a row returns Count and Limit.
namespace contracts::processes {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1023};

// Fields: source

inline constexpr tn::string_id Name{1};        ///< of the program, cut by the kernel; PROC/PID/stat, comm
inline constexpr tn::string_id Path{2};        ///< its path, as the process itself has it; PROC/PID/cmdline
inline constexpr tn::string_id Parameters{3};  ///< the rest of its command line; PROC/PID/cmdline
inline constexpr tn::bool_id Kernel{4};        ///< a thread of the kernel; absent if not; PROC/PID/stat, flags
inline constexpr tn::u32_id State{5};          ///< the letter's code, such as 'R'; PROC/PID/stat
inline constexpr tn::u64_id Time{6};           ///< hundredths of a second on processors; PROC/PID/stat
inline constexpr tn::u64_id Memory{7};         ///< KiB in main memory; PROC/PID/stat, rss

inline constexpr tn::u32_id Count{8};  ///< number of processes; absent until they were listed
inline constexpr tn::u32_id Limit{9};  ///< of their number; PROC/sys/kernel/pid_max, threads-max

}  // namespace contracts::processes

/// {24, 1024}: the installed packages, of dpkg. hostd/machine/packages.h owns them. A package has the same id after a
/// restart, unless it conflicts with another one's.
///
/// A get without a row returns Changed and Checked.
namespace contracts::packages {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1024};

inline constexpr tn::string_id Name{1};    ///< "bash_5.2.15-2+b2_amd64"
inline constexpr tn::bool_id System{2};    ///< a kernel; absent if not; its Section
inline constexpr tn::u64_id Installed{3};  ///< s since 1970: the last installation; absent if not known

inline constexpr tn::u64_id Changed{4};  ///< ms from boot to the last change; 0 if there was none since the start
inline constexpr tn::u64_id Checked{5};  ///< ms from boot to the last time that dpkg's status was looked at

}  // namespace contracts::packages
