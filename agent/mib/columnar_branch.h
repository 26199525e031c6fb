#pragma once

#include <map>
#include <memory>

#include "agent/mib/branch.h"
#include "agent/mib/table.h"

namespace snmp {

/// A conceptual table: every instance is prefix.column.index. Neighbouring varbinds of one request are served together,
/// so that a walk of n columns costs one fetch for each column; the rows of one column come before the next column's.
/// Nothing is kept between requests.
class ColumnarBranch : public Branch {
  public:
    explicit ColumnarBranch(Table* table) : table_(table) {}
    void addLeaf(unsigned int column, const Packer* packer) { columns_[column] = packer; }

    Answer get(Context& c) override;
    Answer getNext(Context& c) override;
    Answer set(Context& c) override;

  private:
    using Columns = std::map<unsigned int, const Packer*>;
    struct FirstRows;

    Answer getItem(Context& c, const OID& prefix, const OID& item) const;
    Answer getNextItem(Context& c, const OID& prefix, const OID& item, unsigned int repetitions,
                       FirstRows& first) const;
    bool wrap(Context& c, const OID& prefix, Columns::const_iterator column, FirstRows& first) const;
    Answer complete(Context& c, const OID& prefix, const OID& item) const;
    Answer continueHere(Context& c) const;
    [[nodiscard]] std::unique_ptr<VData> rowAt(const OID& index) const;
    bool writeRow(Context& c, const OID& prefix, Columns::const_iterator column, const Data* row) const;

    Columns columns_;
    Table* table_;
};

/// Registers a table under its entry's OID, for the caller to add its columns.
ColumnarBranch* addColumnarBranch(const OID& oid, Table* table);

}  // namespace snmp
