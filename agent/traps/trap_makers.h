#pragma once

#include <optional>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/variable_binding.h"
#include "tn/message.h"

namespace snmp {

/// Values of generic-trap (RFC 1157, 4.1.6).
namespace generic_trap {
constexpr unsigned int WarmStart = 1;
constexpr unsigned int LinkDown = 2;
constexpr unsigned int LinkUp = 3;
constexpr unsigned int EnterpriseSpecific = 6;
}  // namespace generic_trap

/// What a trap says, whatever its version.
struct Trap {
    OID oid;
    unsigned int generic = 0;   ///< one of generic_trap
    unsigned int specific = 0;  ///< the number of an enterprise's own trap
    std::vector<VariableBinding> bindings;
};

/// Turns a message of the bus into a trap. True when it knows such messages, and has filled in the other arguments.
using TrapMaker = bool (*)(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                           unsigned int& generic, unsigned int& specific);

/// Asked in this order; the first that returns true makes the trap.
extern std::vector<TrapMaker> trapMakers;

/// Asks the makers; nothing when none of them makes a trap of the message.
[[nodiscard]] std::optional<Trap> makeTrap(const tn::message& message);

/// warmStart (RFC 3418), made of any message: among the makers only while the agent starts.
bool startupTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                      unsigned int& generic, unsigned int& specific);

/// The trap that somebody on the bus asks for with trap_request::kCommand.
bool alderTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                    unsigned int& generic, unsigned int& specific);

/// A request to {34} for a trap with at most one varbind. It is there when Value is, or without it when Type is NULL.
namespace trap_request {
constexpr uint32_t kCommand = 1;
constexpr tn::string_id Name{1001};   // dotted
constexpr tn::u32_id Type{1002};      // BER tag
constexpr tn::string_id Value{1003};  // text, see OutStream::addByType
}  // namespace trap_request

}  // namespace snmp
