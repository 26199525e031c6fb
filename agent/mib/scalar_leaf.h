#pragma once

#include "agent/mib/branch.h"
#include "agent/mib/data_provider.h"
#include "agent/mib/packer.h"

namespace snmp {

/// A scalar object: one instance, .0. A Get needs that instance exactly; a Set is accepted on any, on purpose.
class ScalarLeaf : public Branch {
  public:
    ScalarLeaf(const Packer* packer, DataProvider* provider) : packer_(packer), provider_(provider) {}

    Answer get(Context& c) override;
    Answer getNext(Context& c) override;
    Answer set(Context& c) override;

  private:
    bool fetch(std::unique_ptr<Data>& record) const;
    void writeInstance(Context& c, const Data* record) const;
    Answer passOn(Context& c);

    const Packer* packer_;
    DataProvider* provider_;
};

}  // namespace snmp
