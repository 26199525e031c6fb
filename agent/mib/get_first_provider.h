#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "agent/mib/data_provider.h"

namespace snmp {

/// The first row of an owner's list for which the build function gives a record. It can't be written.
///
/// Which row that is, or that there is none, is kept for kKept: as long as it still gives a record, a request costs one
/// exchange of one row, however long the list. A row in front of it is found when that time is over.
class GetFirstProvider : public SingleProvider {
  public:
    static constexpr uint64_t kKept = 10000;  ///< ms of tn::getMilliseconds

    /// @param build  null for a row that isn't the one wanted
    GetFirstProvider(std::vector<uint32_t> path, BuildFunction build) : path_(std::move(path)), build_(build) {}

    /// Object id of that row; the owner is asked when none is known. tn::kNoId when there is none.
    [[nodiscard]] uint32_t getFirstObjId();

  protected:
    std::unique_ptr<Data> getData() override;
    bool setData(Data*) override { return false; }

  private:
    std::unique_ptr<Data> search(uint64_t now);
    std::unique_ptr<Data> firstOf(const tn::message& reply);

    std::vector<uint32_t> path_;
    BuildFunction build_;
    uint32_t firstId_ = tn::kNoId;
    uint64_t keptUntil_ = 0;
};

}  // namespace snmp
