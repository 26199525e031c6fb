#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/mib/providers/get_all_provider.h"

namespace snmp {

/// Rows of several sources in one table. Each source owns the object ids from its index base up to the next source's,
/// so that a walk over all of them strictly increases whatever the order in which they were added. A source that is
/// down costs its own rows only. The table has the standard key.
class GetAllMultiProvider : public TableProvider {
  public:
    /// Appends every row of a source that is a function: a few rows that are always there.
    using RowsFunction = void (*)(Rows&);
    /// Writes a changed row of such a source. False when it couldn't be written, after logging the reason.
    using WriteFunction = bool (*)(const Data&);

    /// Adds an owner on the bus. The index of its rows is their id at the owner with the base's bits set.
    /// @param base  the first index of the source; different for each source
    void addSource(GetAllProvider::BuildRows build, std::span<const uint32_t> path, uint32_t objectClass,
                   uint32_t base);
    /// Adds a function.
    /// @param write  null when its rows can't be written
    void addSource(RowsFunction function, uint32_t base, WriteFunction write = nullptr);

    /// False when no source has the row's index, or the one that has it can't write it.
    bool setData(Data* row, const MapTable* table) override;
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    /// Adds up the sources that answer; false when none does.
    bool getCountCMD(unsigned int& n) override;
    std::string source() const override;

  private:
    /// One source and the first index that is its own.
    struct MultiSource {
        uint32_t base;
        RowsFunction function;  ///< null for an owner on the bus
        WriteFunction write;    ///< null when its rows can't be written
        GetAllProvider::Source source;
    };
    void insert(MultiSource source);
    /// The source that an id belongs to; the number of sources when none does.
    [[nodiscard]] size_t sourceOf(uint32_t id) const;
    /// Appends up to `count` rows of one source; false when its owner doesn't know the key.
    bool fetch(size_t source, const Key& key, const MapTable* table, unsigned int count, VData& out) const;
    /// Keeps the rows from `from` on that are in the source's own range and were requested.
    void keepOwn(size_t source, const Key& key, const MapTable* table, size_t from, unsigned int count,
                 Rows& rows) const;

    std::vector<MultiSource> sources_;  ///< ascending by base
};

}  // namespace snmp
