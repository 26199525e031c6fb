#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "hostd/services/libvirt.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// The guests of one kind, as libvirt tells them.
class Guests : public WatchedTable<Guest> {
  public:
    static constexpr uint64_t kMaxAge = 5000;  ///< ms
    static constexpr IdRange kIds{1, 0x10000};

  protected:
    Guests(const std::string& what, std::function<Reading<Guest>()> read)
        : WatchedTable(what, std::move(read), kMaxAge, kIds) {}
};

/// {112, 1}: virtual machines (KVM).
class VirtualMachines : public Guests {
  public:
    /// @param read  runs on the helper thread
    explicit VirtualMachines(std::function<Reading<Guest>()> read) : Guests("virtual machines", std::move(read)) {}

  protected:
    void list(const Guest& guest, tn::message& item) const override;
};

/// {109, 1}: podhost guests (containers), from libvirt or systemd-machined.
class PodhostGuests : public Guests {
  public:
    /// @param read  runs on the helper thread
    explicit PodhostGuests(std::function<Reading<Guest>()> read) : Guests("podhost guests", std::move(read)) {}

  protected:
    void list(const Guest& guest, tn::message& item) const override;
};

/// The contracts of {112, 1} and {109, 1}, both with tn::field::Name and tn::field::Comment: the operating system, or
/// else title or description. What isn't there is absent.
namespace virtual_machine {
//                                         unit  source
constexpr tn::string_id Disk{2};        //      domain XML, the first disk's source
constexpr tn::string_id Kernel{3};      //      domain XML, os/kernel
constexpr tn::string_id Initrd{4};      //      domain XML, os/initrd
constexpr tn::u32_id State{5};          //      virDomainGetState
constexpr tn::u32_id Processors{6};     //      virDomainGetInfo, nrVirtCpu
constexpr tn::u32_id Memory{7};         // MiB  virDomainGetInfo, maxMem
constexpr tn::bool_id HasSnapshot{12};  //      virDomainSnapshotNum

/// Numbers of State; those past Failed don't come from libvirt.
enum : uint32_t { kInvalid, kStopping, kStopped, kStarting, kRunning, kRestarting, kFailed };
}  // namespace virtual_machine

namespace podhost {
//                                    unit  source
constexpr tn::u32_id Memory{1};  // MiB  virDomainGetInfo, maxMem; systemd's MemoryMax
constexpr tn::u32_id State{2};   //      virDomainGetState; machined's State

/// Numbers of State. The last one has no name, which is what a guest without a state should have.
enum : uint32_t { kDisabled, kStopped, kBooting, kRunning, kRebooting, kShuttingDown, kImporting, kUnknown };
}  // namespace podhost

/// The number that a state of libvirt's (virDomainState and its reason) has. A guest whose processors are at rest, be
/// it paused or suspended, counts as stopped.
[[nodiscard]] uint32_t stateOfMachine(int state, int reason);
[[nodiscard]] uint32_t stateOfPodhost(int state, int reason);

}  // namespace hostd
