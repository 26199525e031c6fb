#pragma once

#include "tn/handler.h"

namespace snmp {

/// {34, ID_TRAPS}: tells which trap generators there are.
class TrapHandler : public tn::Handler {
  public:
    void init();
    /// trap_list::kCommand: field::Objects, each ObjectId (what the settings name) and Name. Others: nothing.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
};

constexpr uint32_t ID_TRAPS = 2;

namespace trap_list {
constexpr uint32_t kCommand = 100;
}

}  // namespace snmp
