#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "agent/ber/oid.h"
#include "agent/mib/context.h"

namespace snmp {

/// What a branch's operations answer: whether the varbind (or several) has been written into the reply.
using Answer = uint32_t;
constexpr Answer kNotMine = 0;
constexpr Answer kAnswered = 1;

/// What serves the names under one prefix: a scalar or a whole table. Before a call the context's branchPrefix is the
/// prefix and its oid the rest of the name (for a Set the whole name).
class Branch {
  public:
    Branch() = default;
    Branch(const Branch&) = delete;
    Branch& operator=(const Branch&) = delete;

    /// Answers one varbind of a Get. kNotMine makes it noSuchName, in every version; a table answers exceptions itself.
    virtual Answer get(Context& c) = 0;
    /// Answers one step of a GetNext or GetBulk; an empty rest stands for the first object. After kNotMine the walk
    /// continues in the next branch, unless c.branchStatus is set: then that is the answer.
    virtual Answer getNext(Context& c) = 0;
    /// Performs and answers one varbind of a Set; c.in is at its value. After kNotMine nothing may have changed, and
    /// the answer is noSuchName.
    virtual Answer set(Context& c) = 0;
    virtual ~Branch() = default;
};

class DataProvider;
class Packer;

/// Every object served: prefix to branch, in the order of a walk. Filled at start-up; later only grows. It owns
/// nothing: branches live as long as the process (`keep`).
extern std::map<OID, Branch*> branches;

/// The instance of a scalar, 0.
extern const OID ZERO_OID;

/// The slot of a prefix, for the caller to store its branch into: null for a new prefix. Registering a prefix again
/// replaces the branch, and is logged on standard output.
Branch*& addBranch(const OID& oid);

/// Registers a scalar. Packer and provider must outlive it.
/// @param provider  the record's source; nullptr for a constant, whose packer holds the value
void addScalarLeaf(const OID& oid, const Packer* packer, DataProvider* provider);
/// Register a scalar whose value never changes and can't be set.
/// @param type  BER tag of the value
void addScalarConstNumLeaf(const OID& oid, int value, unsigned int type);
void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned int type);
void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned int type);

/// Continues a walk in the branch after c.branchPrefix with the remaining varbinds (c.pendingEndOfView). At the end of
/// the tree their number stays as it is, for the caller to fill with endOfMibView. Nothing more is built once the reply
/// is too large to send.
/// @return what that branch answers; kAnswered when there is none
Answer getNextCompletion(Context& c);

}  // namespace snmp
