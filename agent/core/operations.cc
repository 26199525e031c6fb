#include "agent/core/operations.h"

#include <algorithm>

#include "agent/log.h"
#include "agent/mib/branch.h"

namespace snmp {

namespace {

/// Whether the two agree over the shorter one's length.
bool sameStart(const OID& a, const OID& b) {
    const auto n = static_cast<std::ptrdiff_t>(std::min(a.size(), b.size()));
    return std::equal(a.begin(), a.begin() + n, b.begin());
}

}  // namespace

ErrorStatus snmpGet(Context& c) {
    if (!dlog.isMuted()) {
        dlog << "get " << c.oid.str();
        sout << "get " << c.oid.str();
    }
    auto next = branches.upper_bound(c.oid);
    if (next == branches.begin()) return ErrorStatus::NoSuchName;
    const auto& [prefix, branch] = *--next;
    if (!c.oid.startsWith(prefix)) return ErrorStatus::NoSuchName;

    c.branchPrefix = prefix;
    c.oid.erase(c.oid.begin(), c.oid.begin() + static_cast<std::ptrdiff_t>(prefix.size()));
    return branch->get(c) != kNotMine ? ErrorStatus::NoError : ErrorStatus::NoSuchName;
}

ErrorStatus snmpGetNextGetBulk(Context& c) {
    if (!dlog.isMuted()) {
        std::ostringstream line;
        line << "getnextgetbulk " << c.oid.str() << " reps:" << c.maxRepetitions << " nonreps:" << c.nonRepeaters;
        dlog << line.str();
        sout << line.str();
    }
    const OID& name = c.requestedName;
    auto at = branches.upper_bound(name);
    if (at != branches.begin() && !sameStart(name, (--at)->first)) ++at;

    for (bool first = true; at != branches.end(); ++at, first = false) {
        const auto& [prefix, branch] = *at;
        // The name may begin with the prefix only in the first branch: the walk goes on behind the name there, and
        // takes the first object everywhere else.
        const bool covered = first && name.startsWith(prefix);
        if (!dlog.isMuted()) sout << (covered ? "getnext found match   " : "getnext found         ") << prefix.str();
        c.oid.clear();
        if (covered) c.oid.assign(name.begin() + static_cast<std::ptrdiff_t>(prefix.size()), name.end());
        c.branchPrefix = prefix;
        if (branch->getNext(c) != kNotMine) return ErrorStatus::NoError;
        if (c.branchStatus != ErrorStatus::NoError) return c.branchStatus;
    }
    return ErrorStatus::NoSuchName;
}

ErrorStatus snmpSet(Context& c) {
    if (!dlog.isMuted()) dlog << "set " << c.oid;
    c.setPrefix = c.oid;
    c.setSuffix.clear();
    for (; !c.setPrefix.empty(); c.setPrefix.pop_back()) {
        const auto at = branches.find(c.setPrefix);
        if (at != branches.end()) {
            return at->second->set(c) != kNotMine ? ErrorStatus::NoError : ErrorStatus::NoSuchName;
        }
        c.setSuffix.insert(c.setSuffix.begin(), c.setPrefix.back());
    }
    return ErrorStatus::NoSuchName;
}

}  // namespace snmp
