#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// The first row of an owner's list for which the build function returns a record. Each get() searches the list from
/// its beginning, with one exchange for each row, up to 65,536 rows. It can't be written.
class GetFirstProvider : public SingleProvider {
  public:
    /// @param path    path of the owner on the bus
    /// @param build   returns null for a row that doesn't qualify
    /// @param wanted  fields sent with each request. An owner that supports them lists only rows that match: one
    ///                exchange is then enough
    GetFirstProvider(std::span<const uint32_t> path, BuildFunction build, tn::message wanted = {})
        : path_(path.begin(), path.end()), build_(build), wanted_(std::move(wanted)) {}

    /// Object id of the row that was found last. Searches if none was found yet, or if the last search failed.
    /// @return tn::kNoId if the owner has no such row or fails
    [[nodiscard]] uint32_t getFirstObjId();
    std::string source() const override { return pathText(path_); }

  protected:
    /// Null if the owner has no such row or fails; the failure is logged.
    std::unique_ptr<Data> getData() override;
    bool setData(Data*) override { return false; }

  private:
    /// The record of the first row in a reply that qualifies; stores its id in firstId_.
    std::unique_ptr<Data> firstOf(const tn::message& reply);

    std::vector<uint32_t> path_;
    BuildFunction build_;
    tn::message wanted_;
    uint32_t firstId_ = tn::kNoId;  ///< id of the row found last; kNoId if the last search failed
};

}  // namespace snmp
