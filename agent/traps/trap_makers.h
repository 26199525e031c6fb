#pragma once

#include <optional>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/rules.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// The values of generic-trap (RFC 1157, 4.1.6) that the agent sends.
namespace generic_trap {
constexpr unsigned int WarmStart = 1;
constexpr unsigned int LinkDown = 2;
constexpr unsigned int LinkUp = 3;
constexpr unsigned int EnterpriseSpecific = 6;
}  // namespace generic_trap

/// The content of a trap, independent of its SNMP version.
struct Trap {
    OID oid;                    ///< snmpTrapOID; if EnterpriseSpecific, without the final 0.`specific` (RFC 3584, 3.1)
    unsigned int generic = 0;   ///< one of generic_trap
    unsigned int specific = 0;  ///< specific-trap; 0 unless `generic` is EnterpriseSpecific
    std::vector<VariableBinding> bindings;
};

/// Makes a trap from a bus message. True if it recognises the message and has filled in the other arguments. If it
/// returns false, the caller discards what it wrote there.
using TrapMaker = bool (*)(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                           unsigned int& generic, unsigned int& specific);

/// All makers, called in this order until one returns true: those that plug-ins append at start, alderTrapMaker, then
/// those of the subscribed trap generators. Each subscription appends its maker, each unsubscription removes it.
extern std::vector<TrapMaker> trapMakers;

/// What makers follow, as the agent's requests do.
extern const Rules* trapRules;

/// The trap of the first maker that recognises the message; nothing if none does.
[[nodiscard]] std::optional<Trap> makeTrap(const tn::message& message);

/// Makes warmStart (RFC 3418) from any message. It is in trapMakers only while the agent sends its start-up trap.
bool startupTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                      unsigned int& generic, unsigned int& specific);

/// Makes the vendor's trap 1 from a bus client's request (contracts::snmp::trap::kSend). It contains the request's
/// varbind if that is complete.
bool alderTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                    unsigned int& generic, unsigned int& specific);

}  // namespace snmp
