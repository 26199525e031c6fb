#pragma once

#include <cstdint>
#include <optional>

#include "agent/ber/usm_writer.h"
#include "agent/ber/v3_info.h"
#include "agent/security/community_keep.h"
#include "agent/system/settings.h"
#include "agent/traps/informs.h"
#include "agent/traps/trap_makers.h"
#include "agent/traps/trap_socket.h"
#include "tn/sources.h"

namespace snmp {

constexpr uint16_t kTrapPort = 162;  ///< UDP, snmptrap

/// Makes traps from bus messages and sends them, or has `Informs` send them. The settings have the targets, the SNMP
/// version, and the community or user. Failures are logged on standard error. The objects passed to the constructor
/// must outlive this one.
class TrapSender {
  public:
    /// @param engine  the agent's engine; each encrypted trap advances its salt
    /// @param port    UDP port of the targets that have none of their own
    TrapSender(const Settings& settings, const CommunityKeep& communities, V3ServerInfo& engine, Informs& informs,
               uint16_t port)
        : settings_(settings), communities_(communities), engine_(engine), informs_(informs), port_(port) {}

    /// To be called when the settings have changed: gives up the informs to targets that aren't targets any more.
    void settingsChanged();

    /// Sends one trap to every target. If the service is disabled, or the targets or the community are missing, only
    /// logs that. An unreachable target is skipped. If createTrap() fails or the local address can't be read, no
    /// further target is tried, and the socket stays open for the next trap (compat: 85).
    void send_trap(const tn::message& message);

    /// Writes a whole SNMP message (RFC 1157, 4.1.6; RFC 3416, 4.2.6; RFC 3414, 3.1). In version 3, this agent is the
    /// authoritative engine.
    /// @param local  source address towards the target: agent-addr in version 1
    /// @param trap   the content. If empty, it is made from `message` and stored here for the next target. Makers must
    ///               be called only once for each trap, because they remember the states that they reported
    /// @return false, with `out` unusable. Logged: the community is missing, or no maker recognises the message. Not
    ///         logged: the user's keys are missing, as they are without an engine id
    [[nodiscard]] bool createTrap(UsmWriter& out, const tn::message& message, const IPAddr6& local,
                                  std::optional<Trap>& trap) const;

  private:
    [[nodiscard]] std::vector<TrapTarget> targets() const;  ///< with their ports
    /// Logs and counts if it is missing.
    [[nodiscard]] const Item* findSender() const;
    void sendInforms(const tn::message& message);
    bool sendToTargets(const tn::message& message);  ///< false if it ended before the last target
    [[nodiscard]] bool addSecured(UsmWriter& out, const Item& user, const Trap& trap) const;
    [[nodiscard]] V3Info headerFor(const Item& user) const;
    void addPduV1(OutStream& out, const Trap& trap, const IPAddr6& local) const;
    void addPduV2(OutStream& out, const Trap& trap) const;
    /// The content of the PDU of a trap or inform.
    void addNotification(OutStream& out, uint32_t requestId, const Trap& trap) const;
    /// sysUpTime and time-stamp: hundredths of a second (RFC 2578, TimeTicks) since the agent started, or since the
    /// machine started, in whole seconds as the object sysUpTime (compat: 82).
    [[nodiscard]] uint32_t upTime() const {
        return trapRules->trapTimeIsSysUpTime ? tn::getUptime() * 100 : tn::getJiffies() - started_;
    }

    const Settings& settings_;
    const CommunityKeep& communities_;
    V3ServerInfo& engine_;
    Informs& informs_;
    uint16_t port_;
    uint32_t started_ = tn::getJiffies();
    TrapSocket socket_;
};

}  // namespace snmp
