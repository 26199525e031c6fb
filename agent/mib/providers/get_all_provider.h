#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "agent/mib/objects.h"
#include "agent/mib/table.h"

namespace snmp {

/// Rows fetched from one owner with get-all exchanges (agent/mib/providers/row_fetch.h). The owner must answer these as
/// the tables of hostd do (hostd/table/owner_table.h), but it isn't trusted to: a row whose index isn't greater than
/// all before is dropped, and the number of exchanges is limited.
class GetAllProvider : public TableProvider {
  public:
    /// Appends the rows of one item to the list: none, one or several.
    /// @return normally null. For an item without a row (a route that isn't in force), it may be a record that isn't
    ///         served: the fetch continues from the position of its key fields
    using BuildRows = std::unique_ptr<Data> (*)(const tn::message&, Rows&);

    /// Whether an item comes after the last row of this table. All items after it then do, too.
    using IsBehind = bool (*)(const tn::message&);

    /// Completes the items of a page before rows are built of them: adds a field to those that lack it. One burst of
    /// exchanges serves the whole page, instead of one exchange for each row.
    struct Supplement {
        uint32_t field = 0;  ///< full id; `add` is called only if this field is wanted
        void (*add)(std::vector<tn::message>& items) = nullptr;
    };

    struct Source {
        std::vector<uint32_t> path;
        BuildRows build;
        uint32_t objectClass;         ///< one of contracts::object_class: sent as tn::field::GetFlags
        IsBehind isBehind = nullptr;  ///< null if the table ends with the last row of the owner
        Supplement supplement{};      ///< without a function if the owner's items have all fields
    };

    /// @param path         path of the owner on the bus
    /// @param objectClass  one of contracts::object_class
    /// @param isBehind     null if the table ends with the last row of the owner
    GetAllProvider(std::span<const uint32_t> path, BuildRows build, uint32_t objectClass, IsBehind isBehind = nullptr)
        : source_{{path.begin(), path.end()}, build, objectClass, isBehind} {}
    GetAllProvider(std::span<const uint32_t> path, BuildRows build, uint32_t objectClass, Supplement supplement)
        : source_{{path.begin(), path.end()}, build, objectClass, nullptr, supplement} {}

    /// Sends the row's key and its reverseBuild to the owner. False if the owner refuses or fails, which is logged.
    bool setData(Data* row, const MapTable* table) override { return setData(row, table, source_); }
    /// Null if the owner doesn't know the key. If the owner fails, the rows fetched before that.
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    bool getCountCMD(unsigned int& n) override { return getCount(source_, n); }
    tn::message request(const Key& key, const MapTable* table) const override;
    std::string source() const override { return pathText(source_.path); }

    // The same operations for one of several sources (GetAllMultiProvider). Failures are logged.

    /// Appends up to `count` rows to `out`; with 0, the rows of the item at the key. If the owner fails, the rows
    /// fetched so far remain.
    /// @return false if the owner doesn't know the key
    static bool getData(const Key& key, const MapTable* table, const Source& source, unsigned int count, VData& out);
    /// @param base  bits of the row's index that aren't part of its id at the owner
    /// @return false if the owner refuses or fails
    static bool setData(Data* row, const MapTable* table, const Source& source, uint32_t base = 0);
    /// @param n  receives the owner's number of rows; 0 if it fails
    /// @return false if the owner fails
    static bool getCount(const Source& source, unsigned int& n);

  private:
    Source source_;
};

/// The BuildRows of a table with one row for each item, as most tables have.
/// @tparam Build  must not return null
template <std::unique_ptr<Data> (*Build)(const tn::message&)>
std::unique_ptr<Data> oneRow(const tn::message& item, Rows& rows) {
    rows.push_back(Build(item));
    return nullptr;
}

}  // namespace snmp
