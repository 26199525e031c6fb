#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

// The guests of this machine. hostd/services/guests.h owns both tables. A row has tn::field::Name, and
// tn::field::Comment with the operating system, or else the title or description. A value that isn't known is absent.

/// {112, 1}: virtual machines (KVM), from libvirt.
namespace contracts::virtual_machines {

inline constexpr std::array<uint32_t, 2> kPath = {112, 1};

// Fields: unit; source

inline constexpr tn::string_id Disk{2};        ///< domain XML, the first disk's source
inline constexpr tn::string_id Kernel{3};      ///< domain XML, os/kernel
inline constexpr tn::string_id Initrd{4};      ///< domain XML, os/initrd
inline constexpr tn::u32_id State{5};          ///< one of state; virDomainGetState
inline constexpr tn::u32_id Processors{6};     ///< virDomainGetInfo, nrVirtCpu
inline constexpr tn::u32_id Memory{7};         ///< MiB; virDomainGetInfo, maxMem
inline constexpr tn::bool_id HasSnapshot{12};  ///< virDomainSnapshotNum

/// Values of State. Those after Failed are reasons of a failure. Only owners elsewhere send them.
namespace state {
enum : uint32_t {
    Invalid,
    Stopping,
    Stopped,
    Starting,
    Running,
    Restarting,
    Failed,
    ImageBusy,
    NoKernel,
    NoDiskImage,
    UnsupportedCpu,
    VncPortTaken,
    ExtractFailed,
    kCount,
};
}  // namespace state

}  // namespace contracts::virtual_machines

/// {109, 1}: podhost guests (containers), from libvirt or systemd-machined.
namespace contracts::podhost_guests {

inline constexpr std::array<uint32_t, 2> kPath = {109, 1};

// Fields: unit; source

inline constexpr tn::u32_id Memory{1};  ///< MiB; absent without a limit; virDomainGetInfo, maxMem; systemd's MemoryMax
inline constexpr tn::u32_id State{2};   ///< one of state; virDomainGetState; machined's State

/// Values of State.
namespace state {
enum : uint32_t {
    Disabled,
    Stopped,
    Booting,
    Running,
    Rebooting,
    ShuttingDown,
    Importing,
    Unknown,  ///< deliberately has no name in vmwVmState: the guest has no state to show
};
}  // namespace state

}  // namespace contracts::podhost_guests
