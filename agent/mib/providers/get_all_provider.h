#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "agent/mib/objects.h"
#include "agent/mib/table.h"

namespace snmp {

/// Rows fetched from one owner with get-all exchanges (agent/mib/providers/row_fetch.h). What an owner answers is
/// checked: rows whose index doesn't grow are left out, and an owner that answers nonsense costs its own rows and a
/// bounded number of exchanges. The owner of {path} answers as hostd's tables do (hostd/table/owner_table.h).
class GetAllProvider : public TableProvider {
  public:
    /// Appends the rows of one item, any number of them. A row that isn't listed but marks the position (a route that
    /// isn't in force) is returned instead of appended; else the result is null.
    using BuildRows = std::unique_ptr<Data> (*)(const tn::message&, Rows&);

    /// Whether an item, and with it all after it, follows the last row of this table.
    using IsBehind = bool (*)(const tn::message&);

    struct Source {
        std::vector<uint32_t> path;
        BuildRows build;
        uint32_t objectClass;         ///< sent as tn::field::GetFlags
        IsBehind isBehind = nullptr;  ///< null when the table ends with the owner's rows
    };

    GetAllProvider(std::span<const uint32_t> path, BuildRows build, uint32_t objectClass, IsBehind isBehind = nullptr)
        : source_{{path.begin(), path.end()}, build, objectClass, isBehind} {}

    /// Sends the row's key and its reverseBuild to the owner.
    bool setData(Data* row, const MapTable* table) override { return setData(row, table, source_); }
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    bool getCountCMD(unsigned int& n) override { return getCount(source_, n); }
    std::string source() const override { return pathText(source_.path); }

    // The same for a source that is one of several. Failures are logged.

    /// Appends up to `count` rows to `out`; with 0 exactly the row at the key. An owner that fails gives no more rows.
    /// @return false when the owner doesn't know the key
    static bool getData(const Key& key, const MapTable* table, const Source& source, unsigned int count, VData& out);
    /// @param base  bits of the row's index that aren't part of its owner's id
    /// @return false when the owner refuses or can't be reached
    static bool setData(Data* row, const MapTable* table, const Source& source, uint32_t base = 0);
    /// @param n  receives the owner's number of rows, 0 when it fails
    static bool getCount(const Source& source, unsigned int& n);

  private:
    Source source_;
};

/// Builds the row of one item: what most tables need.
template <std::unique_ptr<Data> (*Build)(const tn::message&)>
std::unique_ptr<Data> oneRow(const tn::message& item, Rows& rows) {
    rows.push_back(Build(item));
    return nullptr;
}

}  // namespace snmp
