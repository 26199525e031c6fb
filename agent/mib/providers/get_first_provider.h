#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// The first row of an owner's list for which the build function returns a record. Each get searches the list from its
/// beginning, at most 65,536 rows of it. It can't be written.
class GetFirstProvider : public SingleProvider {
  public:
    /// @param build   returns null for a row that doesn't qualify
    /// @param wanted  fields sent with each request: an owner that supports them lists only matching rows, so that one
    ///                exchange finds the row however long the list is
    GetFirstProvider(std::span<const uint32_t> path, BuildFunction build, tn::message wanted = {})
        : path_(path.begin(), path.end()), build_(build), wanted_(std::move(wanted)) {}

    /// Object id of the row found last; queries the owner if there is none yet.
    /// @return tn::kNoId if the owner has no such row or can't be reached
    [[nodiscard]] uint32_t getFirstObjId();
    std::string source() const override { return pathText(path_); }

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
