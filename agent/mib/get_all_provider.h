#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "agent/mib/table.h"

namespace snmp {

/// Rows fetched from one owner with get-all exchanges. What an owner answers is checked: rows whose index doesn't grow
/// are left out, and an owner that answers nonsense costs its own rows and a bounded number of exchanges.
class GetAllProvider : public TableProvider {
  public:
    /// Appends the rows of one item, any number of them. An item that isn't listed but marks the position (a route that
    /// isn't in force) is returned instead of appended.
    using BuildRows = std::unique_ptr<Data> (*)(const tn::message&, Rows&);

    /// Whether an item, and with it all that follow, lies behind the rows of this table.
    using IsBehind = bool (*)(const tn::message&);

    struct Source {
        std::vector<uint32_t> path;
        BuildRows build;
        uint32_t objectClass;         ///< sent as tn::field::GetFlags
        IsBehind isBehind = nullptr;  ///< null when the rows go on to the end of the owner's
    };

    GetAllProvider(std::span<const uint32_t> path, BuildRows build, uint32_t objectClass, IsBehind isBehind = nullptr)
        : source_{{path.begin(), path.end()}, build, objectClass, isBehind} {}

    bool setData(Data* row, const MapTable* table) override { return setData(row, table, source_); }
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    bool getCountCMD(unsigned int& n) override { return getCount(source_, n); }

    // The same for a source that is one of several.

    /// Appends up to `count` rows to `out`. False when the owner doesn't know the key.
    static bool getData(const Key& key, const MapTable* table, const Source& source, unsigned int count, VData& out);
    /// @param base  bits of the row's index that aren't part of its owner's id
    static bool setData(Data* row, const MapTable* table, const Source& source, uint32_t base = 0);
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
