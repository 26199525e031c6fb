#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "agent/mib/data_provider.h"

namespace snmp {

/// The first row of an owner's list for which the build function gives a record, looked for from the list's beginning
/// at each get. It can't be written.
class GetFirstProvider : public SingleProvider {
  public:
    /// @param build   null for a row that isn't the one wanted
    /// @param wanted  fields sent with each request: an owner that knows them lists only rows that have them, so that
    ///                one exchange finds the row however long the list
    GetFirstProvider(std::vector<uint32_t> path, BuildFunction build, tn::message wanted = {})
        : path_(std::move(path)), build_(build), wanted_(std::move(wanted)) {}

    /// Object id of the row found last; the owner is asked when there is none. tn::kNoId when it has none either.
    [[nodiscard]] uint32_t getFirstObjId();

  protected:
    std::unique_ptr<Data> getData() override;
    bool setData(Data*) override { return false; }

  private:
    std::unique_ptr<Data> firstOf(const tn::message& reply);

    std::vector<uint32_t> path_;
    BuildFunction build_;
    tn::message wanted_;
    uint32_t firstId_ = tn::kNoId;
};

}  // namespace snmp
