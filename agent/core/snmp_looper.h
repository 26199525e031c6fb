#pragma once

#include <cstdint>

#include "agent/mib/context.h"
#include "agent/security/community_keep.h"
#include "agent/system/settings.h"
#include "agent/traps/trap_handler.h"
#include "agent/traps/trap_sender.h"
#include "tn/looper.h"
#include "tn/store.h"

namespace snmp {

/// The agent: the bus handler of its settings, {34}, and the owner of the SNMP socket. Requests are served strictly one
/// after the other, on the one thread of the loop.
class SnmpLooper : public tn::Looper {
  public:
    /// @param port      UDP port of the service
    /// @param trapPort  UDP port that traps are sent to
    explicit SnmpLooper(uint16_t port, uint16_t trapPort = kTrapPort);
    ~SnmpLooper() override;

    /// Loads the settings, counts this start in the engine boots, and opens the socket when the service is on. While it
    /// is off the process may leave when nobody needs it.
    void init();

    void enable();   ///< opens the socket; nothing when it is open. A failure is one line on standard error
    void disable();  ///< closes it; nothing when it is closed
    [[nodiscard]] bool isEnabled() const { return socket_ >= 0; }

    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
    tn::message getObject(uint32_t id) override;  ///< the settings, whatever the id
    /// Sends a trap for the commands that ask for one and for notifications; an empty reply to everything.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// Sends the traps of what has changed while the owner was away.
    void resubscribed(std::span<const uint32_t> path, uint32_t command) override;

    void startup();  ///< sends the start-up trap when the settings name it

    [[nodiscard]] const Settings& settings() const { return settings_; }
    [[nodiscard]] CommunityKeep& communities() { return communities_; }
    [[nodiscard]] V3ServerInfo& v3Server() { return v3Server_; }
    [[nodiscard]] const TrapSender& traps() const { return traps_; }

  private:
    void receive(int fd);
    void adopt(Settings settings);  ///< puts them in force
    void warnOfUsers() const;       ///< of what makes SNMPv3 unsafe or useless

    tn::Store store_;
    CommunityKeep communities_;
    Settings settings_;
    V3ServerInfo v3Server_;
    uint16_t port_;
    int socket_ = -1;
    Context context_{{}};  ///< of the request being answered
    TrapSender traps_;
    TrapHandler trapHandler_;
};

/// The process's agent.
extern SnmpLooper* loop;

}  // namespace snmp
