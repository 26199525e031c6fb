#pragma once

#include <chrono>
#include <cstdint>

#include "agent/core/datagram.h"
#include "agent/core/look_ahead.h"
#include "agent/core/status_handler.h"
#include "agent/mib/context.h"
#include "agent/security/community_keep.h"
#include "agent/status/refusal_log.h"
#include "agent/system/settings.h"
#include "agent/traps/trap_handler.h"
#include "agent/traps/trap_sender.h"
#include "tn/looper.h"
#include "tn/store.h"

namespace snmp {

/// The agent: the handler of its settings, {34}, and the owner of the SNMP socket. Requests are served one after the
/// other, on the loop's thread.
class SnmpLooper : public tn::Looper {
  public:
    /// @param port      UDP port of the service, unless its socket is inherited
    /// @param trapPort  UDP port that traps are sent to
    /// @param flushInterval  after which repeated refusals are logged, if their minute is over
    explicit SnmpLooper(uint16_t port, uint16_t trapPort = kTrapPort,
                        std::chrono::milliseconds flushInterval = RefusalLog::kInterval);
    ~SnmpLooper() override;

    /// Loads the settings and stores them with this start's engine boots (compat: 60). Opens the socket if the service
    /// is enabled. While it is disabled, the process may exit when idle. Failures are logged.
    void init();

    /// Opens the socket, if it is closed. A failure is logged on standard error and leaves it closed.
    void enable();
    /// Closes the socket, if it is open.
    void disable();
    [[nodiscard]] bool isEnabled() const { return socket_ >= 0; }

    tn::message cmdGet(const tn::message& request) override;
    /// Stores and applies settings. On error::StoreFailed, and on error::Refused for informs in version 1, nothing has
    /// changed.
    tn::message cmdSet(const tn::message& request) override;
    tn::message getObject(uint32_t id) override;  ///< the settings, whatever the id
    /// Sends a trap for contracts::snmp::trap::kSend and for notifications. The reply is always empty.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;
    /// Sends traps for the changes that were missed while the owner was away.
    void resubscribed(std::span<const uint32_t> path, uint32_t command) override;

    /// Ends the loop once the datagrams already received are answered: a restarted agent can't receive them again.
    void shutdown() override;

    /// Sends the replies that are ready, so that they aren't delayed by the wait, and what the requests that wait will
    /// fetch from owners: one wait then serves all of them.
    void beforeWait() override;

    /// Counts the replies of owners in `statistics`.
    void exchanged(const std::vector<uint32_t>& path, const tn::message& reply) override;

    void setRules(const Rules& rules);  ///< for requests and traps; the rules must live as long as the agent
    [[nodiscard]] bool isStandard() const { return context_.rules == &kStandardRules; }  ///< --standard

    void startup();  ///< sends the start-up trap, if the settings select it

    [[nodiscard]] const Settings& settings() const { return settings_; }
    /// The settings that init() will load, with the engine boots of the last start. Defaults if none are stored.
    [[nodiscard]] Settings storedSettings() const;
    [[nodiscard]] CommunityKeep& communities() { return communities_; }
    [[nodiscard]] V3ServerInfo& v3Server() { return v3Server_; }
    [[nodiscard]] const TrapSender& traps() const { return traps_; }
    [[nodiscard]] Informs& informs() { return informs_; }

  private:
    /// Applies a request of contracts::snmp::change::kApply. It is written to the store first, so that a start can
    /// complete it. On an error nothing has changed.
    tn::message changeTogether(tn::message request);
    void completePending();  ///< the change that the last run, or `tnctl import`, left in the store
    /// Makes stored settings the current ones, with their effects, and notifies subscribers.
    void putInForce(Settings next, const tn::message& request);
    void receive();                 ///< called when the socket is readable
    void serveReceived();           ///< serves for kReceiveTime at most; the loop's next round serves the rest
    void sendAhead();               ///< requests what the current request and those that wait will fetch
    void adopt(Settings settings);  ///< makes them the current settings, for all parts of the agent
    void leaveWhenIdle();           ///< lets the idle process exit; drops datagrams until then
    void flushRefusalsLater();      ///< logs repeated refusals when their minute is over
    void returnMemoryLater();       ///< to the kernel, once for many large requests
    void warnOfUsers() const;       ///< logs if SNMPv3 is insecure or can't be used

    tn::Store store_;
    bool isStored_ = false;  ///< store_ has the settings
    CommunityKeep communities_;
    Settings settings_;
    V3ServerInfo v3Server_;
    int inherited_;  ///< the service's socket, opened by the service manager; -1: the agent opens it itself
    uint16_t port_;
    int socket_ = -1;      ///< of the service; -1 while it is off
    Datagrams datagrams_;  ///< received from socket_, and the replies to send
    Context context_{{}};  ///< of the current request
    LookAhead lookAhead_;
    bool isServing_ = false;  ///< a request
    size_t covered_ = 0;      ///< requests, the current one first, whose fetches were sent ahead
    Informs informs_;
    TrapSender traps_;
    TrapHandler trapHandler_;
    StatusHandler statusHandler_;
    std::chrono::milliseconds flushInterval_;
    bool willFlush_ = false;         ///< of flushRefusalsLater
    bool willReturnMemory_ = false;  ///< of returnMemoryLater
    bool willReturnAgain_ = false;   ///< another large request was served since
};

/// The agent of this process; null before it is constructed.
extern SnmpLooper* loop;

}  // namespace snmp
