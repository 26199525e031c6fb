#pragma once

#include <span>
#include <string_view>

#include "agent/ber/v3_info.h"
#include "agent/status/counters.h"

namespace snmp {

/// usmStats of SNMP-USER-BASED-SM-MIB (RFC 3414, 5).
constexpr unsigned int kUsmStats[] = {1, 3, 6, 1, 6, 3, 15, 1, 1};
/// snmpMPDStats of SNMP-MPD-MIB (RFC 3412, 5).
constexpr unsigned int kMpdStats[] = {1, 3, 6, 1, 6, 3, 11, 2, 1};
/// snmpTargetObjects of SNMP-TARGET-MIB (RFC 3413, 4.1).
constexpr unsigned int kTargetObjects[] = {1, 3, 6, 1, 6, 3, 12, 1};

/// How a V3Error is logged, reported and counted.
struct V3ErrorKind {
    V3Error error;
    std::string_view text;  ///< in the log
    Counter cause;          ///< of the refusal
    unsigned int counter;   ///< last arc of its counter below `group`; a Report contains that counter
    std::span<const unsigned int> group = kUsmStats;
    /// The highest level of its Report, with Rules::isUsmStandard.
    uint32_t reportLevel = security_level::None;
};

/// In the order of V3Error.
constexpr V3ErrorKind kV3ErrorKinds[] = {
    {V3Error::UnsupportedLevel, "unsupported security level", Counter::LowLevel, 1},
    {V3Error::NotInTimeWindow, "not in time window or incorrect engine boots", Counter::TimeWindow, 2, kUsmStats,
     security_level::Authorized},
    {V3Error::UnknownUserName, "unknown user name", Counter::UnknownUser, 3},
    {V3Error::UnknownEngineId, "unknown engine id", Counter::UnknownEngine, 4},
    {V3Error::WrongDigest, "wrong digest", Counter::WrongDigest, 5},
    {V3Error::DecryptionError, "decryption error", Counter::Decryption, 6},
    {V3Error::UnknownSecurityModel, "unknown security model", Counter::SecurityModel, 1, kMpdStats},
    {V3Error::InvalidMessage, "invalid header", Counter::InvalidHeader, 2, kMpdStats},
    {V3Error::UnknownPduHandler, "unknown context engine id", Counter::ContextEngine, 3, kMpdStats,
     security_level::Private},
    {V3Error::UnknownContext, "unknown context", Counter::UnknownContext, 5, kTargetObjects, security_level::Private},
};

/// @param error  not None
constexpr const V3ErrorKind& kindOf(V3Error error) { return kV3ErrorKinds[static_cast<size_t>(error)]; }

static_assert(std::size(kV3ErrorKinds) == kV3Errors &&
              kindOf(V3Error::UnknownContext).error == V3Error::UnknownContext);

}  // namespace snmp
