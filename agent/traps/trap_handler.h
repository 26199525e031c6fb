#pragma once

#include "contracts/snmp.h"
#include "tn/handler.h"

namespace snmp {

/// The handler {34, ID_TRAPS}, which lists the trap generators (contracts::snmp::trap::kListGenerators).
class TrapHandler : public tn::Handler {
  public:
    /// Allows callers with read access to list the generators. Must be called before the handler is added to a looper.
    void init();
    /// The reply to kListGenerators: "start-trap", then `scribers` in order. An empty reply to any other command.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
};

constexpr uint32_t ID_TRAPS = contracts::snmp::kTrapsPath[1];

}  // namespace snmp
