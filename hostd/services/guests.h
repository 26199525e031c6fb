#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "hostd/services/libvirt.h"
#include "hostd/source/watched_table.h"

namespace hostd {

/// A table of the guests of one kind. contracts/guests.h has the fields.
class Guests : public WatchedTable<Guest> {
  public:
    static constexpr std::chrono::seconds kMaxAge{5};
    static constexpr IdRange kIds{1, 0x10000};

  protected:
    Guests(const std::string& what, std::function<Reading<Guest>()> read)
        : WatchedTable(what, std::move(read), kMaxAge, kIds) {}
};

/// {112, 1}: virtual machines (KVM), from libvirt.
class VirtualMachines : public Guests {
  public:
    /// @param read  runs on the helper thread
    explicit VirtualMachines(std::function<Reading<Guest>()> read) : Guests("virtual machines", std::move(read)) {}

  protected:
    void writeEntry(const Guest& guest, tn::message& item) const override;
};

/// {109, 1}: podhost guests (containers), from libvirt or systemd-machined.
class PodhostGuests : public Guests {
  public:
    /// @param read  runs on the helper thread
    explicit PodhostGuests(std::function<Reading<Guest>()> read) : Guests("podhost guests", std::move(read)) {}

  protected:
    void writeEntry(const Guest& guest, tn::message& item) const override;
};

/// Converts libvirt's state into one of contracts::virtual_machines::state. Invalid for an unknown state. A guest whose
/// processors don't run because it is paused or suspended counts as stopped.
/// @param state   virDomainState
/// @param reason  libvirt's reason of that state, such as virDomainPausedReason
[[nodiscard]] uint32_t stateOfMachine(int state, int reason);
/// Converts libvirt's state into one of contracts::podhost_guests::state. Unknown for an unknown state.
[[nodiscard]] uint32_t stateOfPodhost(int state, int reason);

}  // namespace hostd
