#include "agent/traps/trap_makers.h"

#include "agent/ber/tags.h"

namespace snmp {

std::vector<TrapMaker> trapMakers;

std::optional<Trap> makeTrap(const tn::message& message) {
    for (const TrapMaker maker : trapMakers) {
        Trap trap;
        if (maker(trap.bindings, message, trap.oid, trap.generic, trap.specific)) return trap;
    }
    return {};
}

bool startupTrapMaker(std::vector<VariableBinding>&, const tn::message&, OID& trapOid, unsigned int& generic,
                      unsigned int& specific) {
    trapOid = {1, 3, 6, 1, 6, 3, 1, 1, 5, 2};  // warmStart
    generic = generic_trap::WarmStart;
    specific = 0;
    return true;
}

bool alderTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                    unsigned int& generic, unsigned int& specific) {
    if (message.get_u32(tn::field::Command) != trap_request::kCommand) return false;
    trapOid = {1, 3, 6, 1, 4, 1, 49999, 1, 1, 9};
    generic = generic_trap::EnterpriseSpecific;
    specific = 1;
    if (!message.has(trap_request::Name) || !message.has(trap_request::Type)) return true;
    const uint32_t type = message.get_u32(trap_request::Type);
    if (!message.has(trap_request::Value) && type != tag::Null) return true;
    bindings.push_back({OID(message.get_string(trap_request::Name)), type, message.get_string(trap_request::Value)});
    return true;
}

}  // namespace snmp
