#include "agent/core/operations.h"

#include <algorithm>

#include "agent/core/snmp_looper.h"
#include "agent/core/written_bindings.h"
#include "agent/log.h"
#include "agent/mib/branch.h"
#include "agent/mib/objects.h"

namespace snmp {

namespace {

/// Whether one of the two begins with the other.
bool hasSameStart(const OID& a, const OID& b) {
    const auto n = static_cast<std::ptrdiff_t>(std::min(a.size(), b.size()));
    return std::equal(a.begin(), a.begin() + n, b.begin());
}

/// The branch with the longest registered prefix of a name. Looks at the last branch at or before the name. If the name
/// doesn't begin with that branch's prefix, every registered prefix of the name is a prefix of both, so the search
/// continues with what they have in common.
std::map<OID, Branch*>::const_iterator longestPrefixOf(OID name) {
    while (!name.empty()) {
        auto at = branches.upper_bound(name);
        if (at == branches.begin()) break;
        const OID& prefix = (--at)->first;
        if (name.hasPrefix(prefix)) return at;
        name.erase(std::mismatch(name.begin(), name.end(), prefix.begin(), prefix.end()).first, name.end());
    }
    return branches.end();
}

/// The branch that serves a Set of c.oid; null if there is none. Splits the name.
Branch* branchToSet(Context& c) {
    const auto at = longestPrefixOf(c.oid);
    if (at == branches.end()) return nullptr;
    c.setPrefix = at->first;
    c.setSuffix.assign(c.oid.begin() + static_cast<std::ptrdiff_t>(c.setPrefix.size()), c.oid.end());
    return at->second;
}

/// The answer to a Get of a name without an object.
ErrorStatus missing(Context& c, uint8_t exception) {
    if (c.isV1() || !c.rules->hasExceptions) return ErrorStatus::NoSuchName;  // compat: 2
    c.out.startSeq(tag::Sequence);
    c.processAddError(exception);
    c.out.endSeq();
    return ErrorStatus::NoError;
}

/// v1 has no Counter64: for its managers such an object doesn't exist (RFC 3584, 4.2.2.1).
/// @param begin    position of the answers in the reply
/// @param binding  position of the first one in the request
ErrorStatus hideCounter64(Context& c, size_t begin, uint32_t binding) {
    for (const WrittenBinding& answer : writtenBindings(c.out, begin)) {
        if (answer.tag == tag::Counter64) {
            c.bindingIndex = binding;
            return ErrorStatus::NoSuchName;
        }
        ++binding;
    }
    return ErrorStatus::NoError;
}

}  // namespace

ErrorStatus snmpGet(Context& c) {
    if (!dlog.isMuted()) {
        const std::string line = "get " + c.oid.str() + nameNote(c.oid);
        dlog << line;
        sout << line;
    }
    auto next = branches.upper_bound(c.oid);
    if (next == branches.begin() || !c.isInView(c.oid)) return missing(c, tag::NoSuchObject);
    const auto& [prefix, branch] = *--next;
    if (!c.oid.hasPrefix(prefix)) return missing(c, tag::NoSuchObject);  // compat: 18

    c.branchPrefix = prefix;
    c.oid.erase(c.oid.begin(), c.oid.begin() + static_cast<std::ptrdiff_t>(prefix.size()));
    const size_t begin = c.out.size();
    const uint32_t binding = c.bindingIndex;
    if (branch->get(c) == kNotMine) {
        // Of the varbinds that a branch consumes together, only the first one's name is known here. It writes
        // exceptions for the others itself.
        if (c.bindingIndex != binding && c.rules->hasExceptions && !c.isV1()) return ErrorStatus::GenErr;
        return missing(c, tag::NoSuchInstance);
    }
    const bool isCounter64Hidden = c.isV1() && c.rules->hasExceptions;
    return isCounter64Hidden ? hideCounter64(c, begin, binding) : ErrorStatus::NoError;
}

ErrorStatus snmpGetNextGetBulk(Context& c) {
    if (!dlog.isMuted()) {
        std::ostringstream line;
        line << "getnextgetbulk " << c.oid.str() << " reps:" << c.maxRepetitions << " nonreps:" << c.nonRepeaters
             << nameNote(c.oid);
        dlog << line.str();
        sout << line.str();
    }
    const OID& name = c.requestedName;
    auto at = branches.upper_bound(name);
    if (at != branches.begin() && !hasSameStart(name, (--at)->first)) ++at;

    for (bool first = true; at != branches.end(); ++at, first = false) {
        const auto& [prefix, branch] = *at;
        // Only the first branch can contain the name. There the walk continues after the name; in every other branch
        // it starts with the first object.
        const bool covered = first && name.hasPrefix(prefix);
        if (!dlog.isMuted()) {
            // compat: 108
            sout << (covered ? "getnext found match   " : "getnext found         ") << prefix.str() << nameNote(prefix);
        }
        c.oid.clear();
        if (covered) c.oid.assign(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end());
        c.branchPrefix = prefix;
        if (branch->getNext(c) != kNotMine) return ErrorStatus::NoError;
        if (c.branchStatus != ErrorStatus::NoError) return c.branchStatus;
    }
    return ErrorStatus::NoSuchName;  // compat: 3
}

ErrorStatus snmpSet(Context& c) {
    if (!dlog.isMuted()) dlog << "set " << c.oid << nameNote(c.oid);
    Branch* const branch = c.isInView(c.oid) ? branchToSet(c) : nullptr;
    if (branch == nullptr) return ErrorStatus::NoSuchName;  // compat: 29
    // Most Sets write to the disk.
    loop->beforeWait();
    c.branchStatus = ErrorStatus::NoError;
    if (branch->set(c) != kNotMine) return ErrorStatus::NoError;
    return c.branchStatus != ErrorStatus::NoError ? c.branchStatus : ErrorStatus::NoSuchName;
}

ErrorStatus snmpCheckSet(Context& c) {
    if (!c.isInView(c.oid)) return ErrorStatus::NoAccess;
    Branch* const branch = branchToSet(c);
    return branch != nullptr ? branch->check(c) : ErrorStatus::NoCreation;
}

}  // namespace snmp
