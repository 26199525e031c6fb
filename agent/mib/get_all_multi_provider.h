#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/mib/get_all_provider.h"

namespace snmp {

/// Rows of several sources in one table. Each source owns the object ids from its index base up to the next source's,
/// so that a walk over all of them strictly increases whatever the order in which they were added. A source that is
/// down costs its own rows only. The table has the standard key.
class GetAllMultiProvider : public TableProvider {
  public:
    /// Appends every row of a source that is a function: a few rows that are always there.
    using RowsFunction = void (*)(Rows&);
    /// Writes a changed row of such a source; false when it couldn't be written, which the function has told.
    using WriteFunction = bool (*)(const Data&);

    /// An owner on the bus; its row ids lie under the base with the base's bits cleared.
    void addSource(GetAllProvider::BuildRows build, std::span<const uint32_t> path, uint32_t objectClass,
                   uint32_t base);
    void addSource(RowsFunction function, uint32_t base, WriteFunction write = nullptr);

    bool setData(Data* row, const MapTable* table) override;
    std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) override;
    bool getCountCMD(unsigned int& n) override;

  private:
    struct MultiSource {
        uint32_t base;
        RowsFunction function;  ///< null for an owner on the bus
        WriteFunction write;    ///< null when its rows can't be written
        GetAllProvider::Source source;
    };
    void insert(MultiSource source);
    [[nodiscard]] size_t sourceOf(uint32_t id) const;
    bool fetch(size_t source, const Key& key, const MapTable* table, unsigned int count, VData& out) const;
    void keepOwn(size_t source, const Key& key, const MapTable* table, size_t from, unsigned int count,
                 Rows& rows) const;

    std::vector<MultiSource> sources_;  ///< ascending by base
};

}  // namespace snmp
