#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/ber/usm_reader.h"
#include "agent/ber/usm_writer.h"
#include "agent/ber/v3_info.h"
#include "agent/security/community_keep.h"
#include "agent/system/settings.h"
#include "agent/traps/remote_engine.h"
#include "agent/traps/trap_socket.h"
#include "tn/thin_runner.h"

namespace snmp {

/// A notification whose receipt is acknowledged (RFC 3416, 4.2.7).
struct Inform {
    uint32_t version = 0;  ///< kVersion2c or kVersion3
    uint32_t sender = 0;   ///< id of the access entry that it is sent as
    /// request-id, and msgID of each try: a late reply to an earlier one is accepted, too.
    uint32_t id = 0;
    std::vector<uint8_t> pdu;  ///< content of the InformRequest-PDU
};

/// Sends informs until they are acknowledged: kTries times, with time-outs that begin with kFirstTimeout and double.
/// Each target has its own queue of kMaxQueued informs and kMaxOctets; the oldest ones are dropped. A target that
/// doesn't answer, or answers nonsense, costs nothing else. Nothing here blocks.
///
/// In version 3, an inform to an engine that isn't known yet makes each try a discovery (RFC 3414, 4): an empty Get, to
/// which the target replies with its engine id and the longest message that it accepts. A longer inform is lost. Its
/// boots and time follow from its Report to the first authenticated inform.
///
/// Informs that are lost are counted, and logged once a minute for each target.
class Informs {
  public:
    static constexpr unsigned kTries = 5;
    static constexpr std::chrono::milliseconds kFirstTimeout{1500};
    static constexpr size_t kMaxQueued = 64;          ///< informs to one target
    static constexpr size_t kMaxOctets = 256 * 1024;  ///< of their PDUs
    static constexpr std::chrono::minutes kLogInterval{1};

    /// @param loop    receives the replies and runs the time-outs
    /// @param engine  the agent's engine: each encrypted inform advances its salt
    Informs(tn::ThinRunner& loop, const CommunityKeep& communities, V3ServerInfo& engine)
        : loop_(loop), communities_(communities), engine_(engine) {}
    ~Informs() { close(); }
    Informs(const Informs&) = delete;
    Informs& operator=(const Informs&) = delete;

    /// Sends an inform for the first time. It stays in the target's queue until it is acknowledged or lost.
    /// @param at  with its port
    void send(const TrapTarget& at, Inform inform);
    /// Forgets all targets but these. What waits for the others is lost.
    void keepOnly(const std::vector<TrapTarget>& targets);
    /// Accepts a datagram that came to the socket of informs. Whatever isn't a reply to an inform is ignored.
    void accept(const TrapTarget& source, std::span<const uint8_t> datagram);
    /// Sends the informs that are due again, gives up those that had all their tries, and logs losses. The loop's timer
    /// calls it.
    void retryDue();

  private:
    using Time = std::chrono::milliseconds;  ///< as tn::sinceBoot

    struct Waiting {
        Inform inform;
        unsigned tries = 0;
        unsigned repeats = 0;  ///< sent again because of a Report
        Time due{};            ///< of the next try
        std::string fault;     ///< why the last try couldn't be sent; empty if it could
    };
    struct Target {
        std::deque<Waiting> queue;  ///< in the order of their events
        size_t octets = 0;          ///< of the PDUs in `queue`
        RemoteEngine engine;
        uint64_t lost = 0;  ///< informs that aren't logged yet
        std::string fault;  ///< why the last of them was lost; empty if it wasn't answered
        Time mayLog{};      ///< earliest time of the next line
    };
    using Targets = std::map<TrapTarget, Target>;
    using Position = std::deque<Waiting>::iterator;

    void receive();
    void acceptV2c(Target& target, UsmReader& in);
    void acceptV3(const TrapTarget& at, Target& target, UsmReader& in);
    void acceptReport(const TrapTarget& at, Target& target, const Position& waiting, UsmReader& in);
    static void acceptResponse(Target& target, const Position& waiting, uint32_t errorStatus);
    [[nodiscard]] static Position find(Target& target, uint32_t id);
    /// Sends an inform, or the discovery before it. If that fails, the next try may succeed.
    /// @return false if the inform is too long for the target, and so for every try
    [[nodiscard]] bool transmit(const TrapTarget& at, const Target& target, Waiting& waiting);
    /// The same; drops an inform that is too long. @return the one after it in the queue
    Position transmitOrDrop(const TrapTarget& at, Target& target, const Position& waiting);
    [[nodiscard]] bool write(UsmWriter& out, const Target& target, const Inform& inform) const;
    [[nodiscard]] bool writeSecured(UsmWriter& out, const Target& target, const Inform& inform, const Item& user) const;
    static void lose(Target& target, std::string_view fault);
    static Position remove(Target& target, const Position& waiting);
    static void log(const TrapTarget& at, Target& target, Time now);
    [[nodiscard]] bool open();
    void close();
    void schedule();  ///< sets the timer for what is due next, and closes the socket if nothing is

    tn::ThinRunner& loop_;
    const CommunityKeep& communities_;
    V3ServerInfo& engine_;
    TrapSocket socket_;
    tn::ThinRunner::TimerId timer_ = 0;
    Targets targets_;
};

}  // namespace snmp
