#pragma once

#include <map>
#include <memory>

#include "agent/mib/branch.h"
#include "agent/mib/table.h"

namespace snmp {

/// A conceptual table: every instance is prefix.column.index. Neighbouring varbinds of one request are served together,
/// so that a walk of n columns costs one fetch for each column; the rows of one column come before the next column's.
/// Nothing is cached between requests.
class ColumnarBranch : public Branch {
  public:
    /// @param table  must outlive the branch
    explicit ColumnarBranch(Table* table) : table_(table) {}
    /// Adds or replaces a column.
    /// @param column  last sub-identifier of its object, from 1
    /// @param packer  for records of the table's class; must outlive the branch
    void addLeaf(unsigned int column, const Packer* packer) { columns_[column] = packer; }

    /// A column or row that isn't there is noSuchInstance; in v1 kNotMine, and c.bindingIndex says which varbind it
    /// was.
    Answer get(Context& c) override;
    /// What follows the last row of a column is the next column's first row, then the next branch. A column above the
    /// last one, and a row that the owner doesn't know, are endOfMibView; in v1 noSuchName.
    Answer getNext(Context& c) override;
    /// Writes the row back to its owner. The answer is the row's new value, or the old one where the value doesn't fit
    /// or the owner refuses: that isn't an error here.
    Answer set(Context& c) override;

  private:
    using Columns = std::map<unsigned int, const Packer*>;
    struct FirstRows;

    // `prefix` is the branch's own, `item` the rest of a name below it: column and index.

    Answer getItem(Context& c, const OID& prefix, const OID& item) const;
    /// Serves one name of a group: the rows after it in its column, then the following columns, then the following
    /// branches. Other names of a GetBulk wait (compat: 7).
    Answer getNextItem(Context& c, const OID& prefix, const OID& item, unsigned int repetitions,
                       FirstRows& first) const;
    /// Writes all rows of this column and of those after it, as far as rows remain; true when none remains.
    bool wrap(Context& c, const OID& prefix, Columns::const_iterator column, FirstRows& first) const;
    /// Continues in the following branches; what remains at the end of the tree is endOfMibView.
    Answer complete(Context& c, const OID& prefix, const OID& item) const;
    /// A walk that began in an earlier branch continues with this table's first rows.
    Answer continueHere(Context& c) const;
    [[nodiscard]] std::unique_ptr<VData> rowAt(const OID& index) const;
    /// Writes one row of a column and counts it off; false when it was the last that is wanted or fits.
    bool writeRow(Context& c, const OID& prefix, Columns::const_iterator column, const Data* row) const;

    Columns columns_;
    Table* table_;
};

/// Registers a table under its entry's OID, for the caller to add its columns. The branch lives as long as the process.
ColumnarBranch* addColumnarBranch(const OID& oid, Table* table);

}  // namespace snmp
