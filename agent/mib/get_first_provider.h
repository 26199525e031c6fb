#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "agent/mib/data_provider.h"

namespace snmp {

/// The first row of an owner's list for which the build function gives a record. It can't be written.
class GetFirstProvider : public SingleProvider {
  public:
    /// @param build  null for a row that isn't the one wanted
    GetFirstProvider(std::vector<uint32_t> path, BuildFunction build) : path_(std::move(path)), build_(build) {}

    /// Object id of that row; the owner is asked when nothing is known yet. tn::kNoId when there is none.
    [[nodiscard]] uint32_t getFirstObjId();

  protected:
    std::unique_ptr<Data> getData() override;
    bool setData(Data*) override { return false; }

  private:
    std::vector<uint32_t> path_;
    BuildFunction build_;
    uint32_t firstId_ = tn::kNoId;
};

}  // namespace snmp
