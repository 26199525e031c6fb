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

/// Makes traps of messages and sends them to the targets of the settings, in the version and under the community of
/// the settings. What fails is a line on standard error.
class TrapSender {
  public:
    /// @param port  UDP port of the targets
    TrapSender(const Settings& settings, const CommunityKeep& communities, V3ServerInfo& engine, uint16_t port)
        : settings_(settings), communities_(communities), engine_(engine), port_(port) {}

    /// A target that can't be reached doesn't keep the trap from the others. A message that no maker knows, or a
    /// community that isn't there, stops it; the socket then stays for the next trap.
    void send_trap(const tn::message& message);

    /// Writes the whole message (RFC 1157, 4.1.6; RFC 3416, 4.2.6; RFC 3414, 3.1, with this agent's engine as the
    /// authoritative one).
    /// @param trap   what to say; made of the message when it isn't yet, so that one trap goes to all targets
    /// @param local  from where the target is reached: agent-addr of version 1
    [[nodiscard]] bool createTrap(UsmWriter& out, const tn::message& message, const IPAddr6& local,
                                  std::optional<Trap>& trap) const;

  private:
    bool sendToTargets(const tn::message& message);
    [[nodiscard]] bool addSecured(UsmWriter& out, const Item& user, const Trap& trap) const;
    [[nodiscard]] V3Info headerFor(const Item& user) const;
    void addPduV1(OutStream& out, const Trap& trap, const IPAddr6& local) const;
    void addPduV2(OutStream& out, const Trap& trap) const;
    [[nodiscard]] uint32_t upTime() const { return tn::getJiffies() - started_; }

    const Settings& settings_;
    const CommunityKeep& communities_;
    V3ServerInfo& engine_;
    uint16_t port_;
    uint32_t started_ = tn::getJiffies();
    TrapSocket socket_;
};

}  // namespace snmp
