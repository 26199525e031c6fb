#pragma once

#include "agent/mib/branch.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// A scalar object: one instance, .0. A Get needs that instance exactly; a Set is accepted on any (compat: 31).
class ScalarLeaf : public Branch {
  public:
    /// Both must outlive the leaf.
    /// @param packer    for the provider's records
    /// @param provider  nullptr for a constant, which can't be set
    ScalarLeaf(const Packer* packer, DataProvider* provider) : packer_(packer), provider_(provider) {}

    /// kNotMine for another instance, and when the provider has no record.
    Answer get(Context& c) override;
    /// An object without a record is stepped over. The repetitions of a GetBulk continue in the following branches.
    Answer getNext(Context& c) override;
    /// kNotMine for a constant, and when the provider has no record.
    Answer set(Context& c) override;

  private:
    /// False when there should be a record and isn't. A constant has none.
    bool fetch(std::unique_ptr<Data>& record) const;
    /// Writes the varbind of the instance and leaves c.branchPrefix as it was.
    void writeInstance(Context& c, const Data* record) const;
    /// Passes the remaining varbinds on to the following branches; at the end of the tree they become endOfMibView.
    Answer passOn(Context& c);

    const Packer* packer_;
    DataProvider* provider_;
};

}  // namespace snmp
