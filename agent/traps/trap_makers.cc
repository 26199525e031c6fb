#include "agent/traps/trap_makers.h"

#include "agent/ber/tags.h"
#include "contracts/snmp.h"

namespace snmp {

namespace request = contracts::snmp::trap;

namespace {

namespace type = contracts::snmp::trap_type;
static_assert(type::Integer == tag::Integer && type::OctetString == tag::OctetString && type::Null == tag::Null &&
              type::ObjectIdentifier == tag::ObjectIdentifier && type::IpAddress == tag::IpAddress &&
              type::Counter32 == tag::Counter32 && type::TimeTicks == tag::TimeTicks);

}  // namespace

std::vector<TrapMaker> trapMakers;
const Rules* trapRules = &kFixedRules;

std::optional<Trap> makeTrap(const tn::message& message) {
    for (const TrapMaker maker : trapMakers) {
        Trap trap;
        if (maker(trap.bindings, message, trap.oid, trap.generic, trap.specific)) return trap;
    }
    return {};
}

bool startupTrapMaker(std::vector<VariableBinding>&, const tn::message&, OID& trapOid, unsigned int& generic,
                      unsigned int& specific) {
    trapOid = {1, 3, 6, 1, 6, 3, 1, 1, 5, 2};  // compat: 84, warmStart
    generic = generic_trap::WarmStart;
    specific = 0;
    return true;
}

bool alderTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                    unsigned int& generic, unsigned int& specific) {
    if (message.get_u32(tn::field::Command) != request::kSend) return false;
    trapOid = {1, 3, 6, 1, 4, 1, 49999, 1, 1, 9};
    generic = generic_trap::EnterpriseSpecific;
    specific = 1;
    if (!message.has(request::Oid) || !message.has(request::Type)) return true;
    const uint32_t type = message.get_u32(request::Type);
    if (!message.has(request::Value) && type != tag::Null) return true;
    bindings.push_back({OID(message.get_string(request::Oid)), type, message.get_string(request::Value)});
    return true;
}

}  // namespace snmp
