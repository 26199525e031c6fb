#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "contracts/snmp_status.h"

namespace snmp {

/// What the agent counts. kCounters has a row for each.
enum class Counter : uint8_t {
    V1,
    V2c,
    V3,
    Get,
    GetNext,
    GetBulk,
    Set,
    Varbinds,
    Answered,
    Errors,
    Reports,
    Dropped,
    // Causes of refusals. A request has at most one.
    Malformed,
    UnknownVersion,
    NoRequest,
    NoCommunity,
    NeedsV3,
    WrongSource,
    NoReadAccess,
    NoWriteAccess,
    Repetitions,
    NotSendable,
    UnknownUser,
    NoKeys,
    LowLevel,
    UnknownEngine,
    TimeWindow,
    WrongDigest,
    Decryption,
    SecurityModel,
    InvalidHeader,
    ContextEngine,
    UnknownContext,
    TrapsSent,
    TrapsFailed,
    InformsSent,
    InformsAcknowledged,
    InformsLost,
    None,  ///< not counted: a request that isn't refused. Must be the last one
};

struct CounterRow {
    Counter counter;
    uint32_t group;         ///< one of contracts::snmp_status::group
    std::string_view name;  ///< for scripts, fixed
    std::string_view text;  ///< for people; that of a cause is also logged
    /// Causes: occurrences a minute, from one source, that aren't logged.
    uint32_t unlogged = 0;
};

/// For causes that are never logged.
constexpr uint32_t kNeverLogged = UINT32_MAX;

namespace snmp_status = contracts::snmp_status;

/// In the order of Counter. To count something else, add a value there and a row here. For a cause, also add its text
/// to docs/messages.md.
constexpr CounterRow kCounters[] = {
    {Counter::V1, snmp_status::group::Requests, "v1", "SNMPv1"},
    {Counter::V2c, snmp_status::group::Requests, "v2c", "SNMPv2c"},
    {Counter::V3, snmp_status::group::Requests, "v3", "SNMPv3"},
    {Counter::Get, snmp_status::group::Requests, "get", "Get"},
    {Counter::GetNext, snmp_status::group::Requests, "get-next", "GetNext"},
    {Counter::GetBulk, snmp_status::group::Requests, "get-bulk", "GetBulk"},
    {Counter::Set, snmp_status::group::Requests, "set", "Set"},
    {Counter::Varbinds, snmp_status::group::Requests, "varbinds", "varbinds"},
    {Counter::Answered, snmp_status::group::Results, "answered", "answered"},
    {Counter::Errors, snmp_status::group::Results, "errors", "answered with an error-status"},
    {Counter::Reports, snmp_status::group::Results, "reports", "answered with an SNMPv3 Report"},
    {Counter::Dropped, snmp_status::group::Results, "dropped", "not answered"},
    {Counter::Malformed, snmp_status::group::Refusals, "malformed", "malformed message"},
    {Counter::UnknownVersion, snmp_status::group::Refusals, "version", "unknown SNMP version"},
    {Counter::NoRequest, snmp_status::group::Refusals, "pdu-type", "not a request"},
    {Counter::NoCommunity, snmp_status::group::Refusals, "community", "no such community"},
    {Counter::NeedsV3, snmp_status::group::Refusals, "needs-v3", "this entry requires SNMPv3"},
    {Counter::WrongSource, snmp_status::group::Refusals, "source", "source address not allowed"},
    {Counter::NoReadAccess, snmp_status::group::Refusals, "read-access", "no read access"},
    {Counter::NoWriteAccess, snmp_status::group::Refusals, "write-access", "no write access"},
    {Counter::Repetitions, snmp_status::group::Refusals, "repetitions", "more than 50 repetitions"},
    {Counter::NotSendable, snmp_status::group::Refusals, "reply", "the reply can't be sent"},
    {Counter::UnknownUser, snmp_status::group::Refusals, "user", "no such user"},
    {Counter::NoKeys, snmp_status::group::Refusals, "keys", "the user has no keys: engine-id isn't set"},
    {Counter::LowLevel, snmp_status::group::Refusals, "level", "security level too low"},
    // How every SNMPv3 manager finds out the engine id.
    {Counter::UnknownEngine, snmp_status::group::Results, "discovery", "among the Reports: engine id discovery",
     kNeverLogged},
    // Some managers find out the engine's time by it.
    {Counter::TimeWindow, snmp_status::group::Refusals, "time-window", "outside the time window", 2},
    {Counter::WrongDigest, snmp_status::group::Refusals, "digest", "authentication password or protocol differs"},
    {Counter::Decryption, snmp_status::group::Refusals, "decryption", "privacy password or protocol differs"},
    {Counter::SecurityModel, snmp_status::group::Refusals, "security-model", "unknown SNMPv3 security model"},
    {Counter::InvalidHeader, snmp_status::group::Refusals, "v3-header", "invalid SNMPv3 flags or msgMaxSize"},
    {Counter::ContextEngine, snmp_status::group::Refusals, "context-engine", "contextEngineID isn't the agent's"},
    {Counter::UnknownContext, snmp_status::group::Refusals, "context", "no such context"},
    {Counter::TrapsSent, snmp_status::group::Traps, "traps-sent", "sent"},
    {Counter::TrapsFailed, snmp_status::group::Traps, "traps-failed", "not sent"},
    {Counter::InformsSent, snmp_status::group::Traps, "informs-sent", "informs"},
    {Counter::InformsAcknowledged, snmp_status::group::Traps, "informs-acknowledged", "informs acknowledged"},
    {Counter::InformsLost, snmp_status::group::Traps, "informs-lost", "informs not acknowledged"},
};

static_assert([] {
    for (size_t i = 0; i < std::size(kCounters); ++i)
        if (kCounters[i].counter != static_cast<Counter>(i)) return false;
    return std::size(kCounters) == static_cast<size_t>(Counter::None);
}());

/// @param counter  not None
constexpr const CounterRow& rowOf(Counter counter) { return kCounters[static_cast<size_t>(counter)]; }

/// The counts since the agent started. One more slot than rows: counting None is harmless.
class Tally {
  public:
    void add(Counter counter, uint64_t events = 1) { counts_[static_cast<size_t>(counter)] += events; }
    [[nodiscard]] uint64_t operator[](Counter counter) const { return counts_[static_cast<size_t>(counter)]; }

  private:
    std::array<uint64_t, std::size(kCounters) + 1> counts_{};
};

}  // namespace snmp
