#include "agent/mib/branch.h"

#include "agent/log.h"
#include "agent/mib/keep.h"
#include "agent/mib/packer.h"
#include "agent/mib/scalar_leaf.h"

namespace snmp {

std::map<OID, Branch*> branches;
const OID ZERO_OID{0};

Branch*& addBranch(const OID& oid) {
    const auto [slot, isNew] = branches.try_emplace(oid, nullptr);
    if (isNew) {
        serr << "addBranch " << oid;
    } else {
        sout << "replacing branch (dup): " << oid;  // compat: 19
    }
    return slot->second;
}

void addScalarLeaf(const OID& oid, const Packer* packer, DataProvider* provider) {
    addBranch(oid) = keep<ScalarLeaf>(packer, provider);
}

void addScalarConstNumLeaf(const OID& oid, int value, unsigned int type) {
    addScalarLeaf(oid, keep<ConstNumPacker>(static_cast<unsigned int>(value), type), nullptr);
}

void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned int type) {
    addScalarLeaf(oid, keep<ConstOIDPacker>(value, type), nullptr);
}

void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned int type) {
    addScalarLeaf(oid, keep<ConstStringPacker>(value, type, 0U), nullptr);
}

Answer getNextCompletion(Context& c) {
    if (c.pendingEndOfView == 0 || c.out.hasOverflowed()) return kAnswered;
    const auto next = branches.upper_bound(c.branchPrefix);
    if (next == branches.end()) {
        tn::strangersErr << "EOMV";  // compat: 107
        return kAnswered;
    }
    c.oid.clear();
    c.branchPrefix = next->first;
    return next->second->getNext(c);
}

}  // namespace snmp
