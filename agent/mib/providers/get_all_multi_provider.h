#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/mib/providers/get_all_provider.h"

namespace snmp {

/// Rows of several sources in one table. Each source has a range of indexes: from its base up to the base of the next
/// source. The walk follows the ranges, whatever the order in which the sources were added. If a source fails, only its
/// own rows are missing. The table must have the standard key (MapTable::hasStdKey).
class GetAllMultiProvider : public TableProvider {
  public:
    /// A source in the agent: appends all of its rows, which should be few, in ascending order of their index.
    using RowsFunction = void (*)(Rows&);
    /// Writes a changed row of such a source. If that fails, logs the reason and returns false.
    using WriteFunction = bool (*)(const Data&);

    /// Adds an owner on the bus.
    /// @param build  must set a row's index to its id at the owner, with the bits of the base set as well
    /// @param base   first index of the source; different for each source, with bits that the owner's ids don't have
    void addSource(GetAllProvider::BuildRows build, std::span<const uint32_t> path, uint32_t objectClass,
                   uint32_t base);
    /// Adds a function. Its rows must have indexes from the base on.
    /// @param write  null if its rows can't be written
    void addSource(RowsFunction function, uint32_t base, WriteFunction write = nullptr);

    /// Passes the row to the source of its index. False if there is none or it fails.
    bool setData(Data* row, const MapTable* table) override;
    /// Null only if `count` is 0 and no source knows the key.
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    /// The sum over the sources that reply. False if none does.
    bool getCountCMD(unsigned int& n) override;
    std::string source() const override;

  private:
    /// One source, with the first index of its range.
    struct MultiSource {
        uint32_t base;
        RowsFunction function;          ///< null for an owner on the bus
        WriteFunction write;            ///< null if the rows of `function` can't be written
        GetAllProvider::Source source;  ///< the owner on the bus
    };
    void insert(MultiSource source);
    /// The source in whose range an id is; the number of sources if there is none.
    [[nodiscard]] size_t sourceOf(uint32_t id) const;
    /// Appends up to `count` rows of one source; with 0, exactly the row at the key. False if its owner doesn't know
    /// the key.
    bool fetch(size_t source, const Key& key, const MapTable* table, unsigned int count, VData& out) const;
    /// Of the rows from `from` on, keeps those that are in the source's range and were requested.
    void keepOwn(size_t source, const Key& key, const MapTable* table, size_t from, unsigned int count,
                 Rows& rows) const;

    std::vector<MultiSource> sources_;  ///< ascending by base
};

}  // namespace snmp
