#pragma once

#include <chrono>
#include <cstdint>

#include "tn/handler.h"
#include "tn/sources.h"

namespace snmp {

class SnmpLooper;

/// Serves `statistics` and the state of the service at {34, 3} (contracts/snmp_status.h).
class StatusHandler : public tn::Handler {
  public:
    /// @param agent  outlives this object
    /// @param port   UDP port of the service
    StatusHandler(const SnmpLooper& agent, uint16_t port) : agent_(agent), port_(port) {}

    /// The whole status, whatever the id.
    tn::message getObject(uint32_t id) override;

  private:
    const SnmpLooper& agent_;
    uint16_t port_;
    std::chrono::milliseconds started_ = tn::sinceBoot();
};

}  // namespace snmp
