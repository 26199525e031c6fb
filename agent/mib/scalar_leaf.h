#pragma once

#include "agent/mib/branch.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// A scalar object: one instance, .0. A Get must name that instance; a Set may name any (compat: 31).
class ScalarLeaf : public Branch {
  public:
    /// Packer and provider must outlive the leaf.
    /// @param packer    for the provider's records
    /// @param provider  nullptr for a constant, which can't be set
    ScalarLeaf(const Packer* packer, DataProvider* provider) : packer_(packer), provider_(provider) {}

    /// kNotMine for another instance, and if the provider has no record.
    Answer get(Context& c) override;
    /// Skips the object if it has no record. The repetitions of a GetBulk continue in the following branches.
    Answer getNext(Context& c) override;
    /// NoCreation for another instance, NotWritable for a constant or a read-only object.
    ErrorStatus check(Context& c) override;
    /// Reads the record, changes it, and writes it back. kNotMine for a constant, and if the provider has no record. A
    /// value of the wrong type or length and a refusal by the owner aren't errors (compat: 27); with
    /// Rules::areRefusalsReported, a refusal is.
    Answer set(Context& c) override;
    void addFetches(const std::vector<RequestItem>& items, Fetches& fetches) const override;

  private:
    /// Fetches the record; a constant has none. False if the provider has no record.
    bool fetch(Context& c, const Data*& record) const;
    /// Writes the varbind of the instance. c.branchPrefix is unchanged afterwards.
    void writeInstance(Context& c, const Data* record) const;
    /// Continues in the following branches. Repetitions that remain at the end of the tree become endOfMibView.
    Answer passOn(Context& c);

    const Packer* packer_;
    DataProvider* provider_;
};

}  // namespace snmp
