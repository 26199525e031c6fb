#pragma once

#include <cstdint>
#include <optional>

#include "agent/ber/usm_writer.h"
#include "agent/ber/v3_info.h"
#include "agent/security/community_keep.h"
#include "agent/system/settings.h"
#include "agent/traps/trap_makers.h"
#include "agent/traps/trap_socket.h"
#include "tn/sources.h"

namespace snmp {

constexpr uint16_t kTrapPort = 162;  ///< UDP, snmptrap

/// Makes traps of bus messages and sends them to the targets in the settings, in the SNMP version and as the community
/// or user in the settings. Each failure is one line on standard error. The constructor's references must outlive it.
class TrapSender {
  public:
    /// @param port  UDP port of the targets
    TrapSender(const Settings& settings, const CommunityKeep& communities, V3ServerInfo& engine, uint16_t port)
        : settings_(settings), communities_(communities), engine_(engine), port_(port) {}

    /// Sends one trap to every target. Does nothing but log when the service is off or targets or community are
    /// missing. An unreachable target is skipped. A message that no maker recognises or a community that was removed
    /// ends the attempt for all targets; the socket then stays open and is used for the next trap.
    void send_trap(const tn::message& message);

    /// Writes the whole SNMP message (RFC 1157, 4.1.6; RFC 3416, 4.2.6; RFC 3414, 3.1, with this agent's engine as the
    /// authoritative one).
    /// @param local  address from which the target is reached: agent-addr of version 1
    /// @param trap   the content. Made of `message` when empty, and left there for the next target: makers are asked
    ///               once per trap, for they remember states
    /// @return false, with a log line and an unusable `out`, when the community is missing or no maker recognises the
    ///         message; false without a line when it can't be encrypted or signed, which takes an engine id
    [[nodiscard]] bool createTrap(UsmWriter& out, const tn::message& message, const IPAddr6& local,
                                  std::optional<Trap>& trap) const;

  private:
    bool sendToTargets(const tn::message& message);  ///< false when the attempt ended before the last target
    [[nodiscard]] bool addSecured(UsmWriter& out, const Item& user, const Trap& trap) const;
    [[nodiscard]] V3Info headerFor(const Item& user) const;
    void addPduV1(OutStream& out, const Trap& trap, const IPAddr6& local) const;
    void addPduV2(OutStream& out, const Trap& trap) const;
    /// Hundredths of a second since the agent started (RFC 2578, TimeTicks).
    [[nodiscard]] uint32_t upTime() const { return tn::getJiffies() - started_; }  // compat: 82

    const Settings& settings_;
    const CommunityKeep& communities_;
    V3ServerInfo& engine_;
    uint16_t port_;
    uint32_t started_ = tn::getJiffies();
    TrapSocket socket_;
};

}  // namespace snmp
