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

    virtual Answer get(Context& c) = 0;  ///< one varbind of a Get
    virtual Answer getNext(
        Context& c) = 0;                 ///< one step of a GetNext or GetBulk; an empty rest asks for the first object
    virtual Answer set(Context& c) = 0;  ///< one varbind of a Set
    virtual ~Branch() = default;
};

class DataProvider;
class Packer;

/// Every object served: prefix to branch, in the order of a walk. Filled at start-up; later only grows.
extern std::map<OID, Branch*> branches;

/// The instance of a scalar, 0.
extern const OID ZERO_OID;

/// The slot of a prefix, for the caller to store its branch into. Registering a prefix again replaces the branch, and
/// says so on standard output.
Branch*& addBranch(const OID& oid);

/// @param provider  the record's source; nullptr for a constant, whose packer holds the value
void addScalarLeaf(const OID& oid, const Packer* packer, DataProvider* provider);
/// @param type  BER tag of the value
void addScalarConstNumLeaf(const OID& oid, int value, unsigned int type);
void addScalarConstOIDLeaf(const OID& oid, const OID& value, unsigned int type);
void addScalarConstStringLeaf(const OID& oid, const std::string& value, unsigned int type);

/// Goes on into the branch after c.branchPrefix with the varbinds still owed (c.pendingEndOfView). At the end of the
/// tree the rest stays owed. Nothing more is built once the reply is too large to send.
Answer getNextCompletion(Context& c);

}  // namespace snmp
