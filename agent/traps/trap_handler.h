#pragma once

#include "contracts/snmp.h"
#include "tn/handler.h"

namespace snmp {

/// The handler {34, ID_TRAPS}, which lists the trap generators (contracts::snmp::trap::kListGenerators).
class TrapHandler : public tn::Handler {
  public:
    /// Gives readers the right to list the generators. Called before the handler is added to a looper.
    void init();
    /// The list, "start-trap" first, then `scribers` in order; an empty reply to any other command.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
};

constexpr uint32_t ID_TRAPS = contracts::snmp::kTrapsPath[1];

}  // namespace snmp
