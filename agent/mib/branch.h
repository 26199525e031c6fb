#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "agent/ber/oid.h"
#include "agent/mib/context.h"
#include "agent/mib/fetches.h"

namespace snmp {

/// What a branch's operations return.
using Answer = uint32_t;
constexpr Answer kNotMine = 0;   ///< the branch doesn't have the object
constexpr Answer kAnswered = 1;  ///< the branch has written one varbind or several

/// Serves the names under one prefix: a scalar or a whole table. When get() or getNext() is called, c.branchPrefix is
/// the prefix and c.oid the rest of the name. When check() or set() is called, c.oid is the whole name, and c.setPrefix
/// and c.setSuffix are its two parts.
class Branch {
  public:
    Branch() = default;
    Branch(const Branch&) = delete;
    Branch& operator=(const Branch&) = delete;

    /// Answers a varbind of a Get. kNotMine gives noSuchName, in every version. A branch that wants an exception
    /// instead (noSuchInstance) writes it itself and returns kAnswered.
    virtual Answer get(Context& c) = 0;
    /// Answers a varbind of a GetNext or GetBulk, with all its repetitions. An empty c.oid requests the first object.
    /// After kNotMine the walk continues in the next branch. A branch that sets c.branchStatus ends the request with
    /// that error instead.
    virtual Answer getNext(Context& c) = 0;
    /// With --standard, called for every varbind of a Set before the first one is set. The value is at the cursor of
    /// c.in. Must not change anything. By default, set() decides.
    /// @return the reason why set() would fail: NotWritable, WrongType, WrongLength, WrongValue, NoCreation
    virtual ErrorStatus check(Context&) { return ErrorStatus::NoError; }
    /// Performs and answers a varbind of a Set. The value is at the cursor of c.in. kNotMine gives c.branchStatus or,
    /// if that isn't set, noSuchName; the branch must not have changed anything then. A Set of several varbinds that
    /// fails may be taken back by a Set of the values that get() returned before.
    virtual Answer set(Context& c) = 0;
    /// Adds the requests to owners that get() will make, as far as they are known beforehand. Neither logs nor changes
    /// anything. By default none are added: get() then waits for each reply in turn.
    /// @param items  names of neighbouring varbinds, without the prefix
    virtual void addFetches(const std::vector<RequestItem>& /*items*/, Fetches&) const {}
    virtual ~Branch() = default;
};

class DataProvider;
class Packer;

/// All branches by their prefix, in the order of a walk. Filled at start; an entry may be added or replaced later, but
/// none is removed. The map doesn't own the branches, which live as long as the process (`keep`).
extern std::map<OID, Branch*> branches;

/// The instance of a scalar, 0.
extern const OID ZERO_OID;

/// Registers a prefix. A prefix that is registered already is logged on standard output.
/// @return the entry in `branches`, where the caller must store its branch. Until then it is null, or the branch to be
///         replaced (compat: 19)
Branch*& addBranch(const OID& oid);

/// Registers a scalar under its OID, without the instance. Replaces a branch with the same prefix. Packer and provider
/// must live as long as the process (`keep`).
/// @param packer    for the provider's records
/// @param provider  source of the record; nullptr for a constant, whose packer contains the value
void addScalarLeaf(const OID& oid, const Packer* packer, DataProvider* provider);
/// Register a scalar whose value never changes. A Set of it gives noSuchName.
/// @param type  BER tag of the value
void addScalarConstNumLeaf(const OID& oid, int value, unsigned int type);
void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned int type);
void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned int type);

/// Continues a walk in the branch after c.branchPrefix, for the remaining repetitions (c.pendingEndOfView). Does
/// nothing if none remain or the reply is too large to send already. At the end of the tree, c.pendingEndOfView stays
/// as it is: the caller fills the rest with endOfMibView.
/// @return the answer of that branch; kAnswered if nothing was done
Answer getNextCompletion(Context& c);

}  // namespace snmp
