// A trap whenever a spare part is added or changed. The agent passes each notification to the trap makers in turn; the
// first one that recognizes it makes the trap.

#include <algorithm>

#include "agent/traps/trap_makers.h"
#include "example.h"
#include "tn/looper.h"

namespace example {

namespace {

bool spareTrapMaker(std::vector<snmp::VariableBinding>& bindings, const tn::message& m, snmp::OID& trapOid,
                    unsigned int& generic, unsigned int& specific) {
    if (!std::ranges::equal(m.get_u32_array(tn::field::Source), spares::kPath)) return false;
    if (!m.has(spares::Name)) return false;  // a removed spare has no name
    trapOid = snmp::OID(snmp::under(kExample, 3));
    generic = 6;   // enterpriseSpecific (RFC 1157)
    specific = 1;  // SNMPv2: { kExample 3 0 1 }
    const uint32_t id = m.get_u32(tn::field::ObjectId);
    const snmp::OID entry(kSpareEntry);
    bindings.push_back({entry + kNameColumn + id, snmp::tag::OctetString, m.get_string(spares::Name)});
    bindings.push_back({entry + kCountColumn + id, snmp::tag::Integer, std::to_string(m.get_u32(spares::Count))});
    return true;
}

}  // namespace

void startSpareTraps() {
    snmp::trapMakers.push_back(spareTrapMaker);
    tn::getLooper()->subscribe(spares::kPath, tn::cmd::Changed, {});
}

}  // namespace example
