#pragma once

#include <optional>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// Values of generic-trap (RFC 1157, 4.1.6) that the agent sends.
namespace generic_trap {
constexpr unsigned int WarmStart = 1;
constexpr unsigned int LinkDown = 2;
constexpr unsigned int LinkUp = 3;
constexpr unsigned int EnterpriseSpecific = 6;
}  // namespace generic_trap

/// The content of a trap, independent of its SNMP version.
struct Trap {
    OID oid;                    ///< snmpTrapOID, less 0 and `specific` for EnterpriseSpecific (RFC 3584, 3.1)
    unsigned int generic = 0;   ///< one of generic_trap
    unsigned int specific = 0;  ///< number of an enterprise's trap; 0 for the generic ones
    std::vector<VariableBinding> bindings;
};

/// Makes a trap of a bus message. True when it recognised the message and filled in the other arguments; after false
/// what it wrote there is discarded.
using TrapMaker = bool (*)(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                           unsigned int& generic, unsigned int& specific);

/// Tried in this order until one returns true. Modules and plug-ins append theirs, alderTrapMaker comes last; the maker
/// of a trap generator is in it only while the generator is subscribed.
extern std::vector<TrapMaker> trapMakers;

/// The trap of the first maker that recognises the message; nothing when none does.
[[nodiscard]] std::optional<Trap> makeTrap(const tn::message& message);

/// warmStart (RFC 3418), made of any message. In trapMakers only while the agent sends its start-up trap.
bool startupTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                      unsigned int& generic, unsigned int& specific);

/// The vendor's trap 1, made of a request that a bus client sends (contracts::snmp::trap::kSend), with its varbind if
/// the request has a complete one.
bool alderTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                    unsigned int& generic, unsigned int& specific);

}  // namespace snmp
