#pragma once

#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "agent/mib/branch.h"
#include "agent/mib/table.h"

namespace snmp {

/// A conceptual table: the name of each instance is prefix.column.index. One call serves all neighbouring varbinds of
/// the request that are in this table. The repetitions of one varbind come before those of the next (compat: 7). Rows
/// fetched for one varbind serve the others, too (Fetched). Nothing is cached between requests.
class ColumnarBranch : public Branch {
  public:
    /// @param table  must outlive the branch
    explicit ColumnarBranch(Table* table) : table_(table) {}
    /// Adds or replaces a column.
    /// @param column  last sub-identifier of its object, from 1
    /// @param packer  for records of the table's class; must outlive the branch
    /// @param wanted  the message fields that its values are made of; nothing if any field may be needed
    void addLeaf(unsigned int column, const Packer* packer, std::optional<WantedFields> wanted = {}) {
        table_->addWanted(wanted);
        columns_[column] = {packer, std::move(wanted)};
    }
    /// Replaces the packer of a column. The new one must not need further message fields.
    void setPacker(unsigned int column, const Packer* packer) { columns_.at(column).packer = packer; }

    /// A missing column or row gives noSuchInstance; a missing column noSuchObject if Rules::hasExceptions is set. In
    /// v1 it gives kNotMine, and c.bindingIndex is the position of that varbind.
    Answer get(Context& c) override;
    /// The last row of a column is followed by the first row of the next column, the last column by the next branch.
    /// The answer is endOfMibView, or in v1 noSuchName, for a column above the last one (compat: 5) and for a row that
    /// the owner doesn't know (compat: 6). With Rules::doWalksContinue, it is the next object.
    Answer getNext(Context& c) override;
    /// NoCreation for a missing row or column, NotWritable for a read-only column.
    ErrorStatus check(Context& c) override;
    /// Reads the row, changes it, and writes it back to its owner. kNotMine if the row or column is missing. A value of
    /// the wrong type or length and a refusal by the owner aren't errors (compat: 27): the answer is then the old value
    /// or, after a refusal, the value that was sent. With Rules::areRefusalsReported, a refusal is an error.
    Answer set(Context& c) override;
    /// Those for the rows of these names, in a table whose rows are known by their ids.
    void addFetches(const std::vector<RequestItem>& items, Fetches& fetches) const override;

  private:
    struct Leaf {
        const Packer* packer;
        std::optional<WantedFields> wanted;
    };
    using Columns = std::map<unsigned int, Leaf>;

    // `prefix` is the prefix of this branch. `item` is the rest of a varbind's name: column and index.

    /// The fields that the columns of these names are made of.
    [[nodiscard]] std::optional<WantedFields> wantedBy(const std::vector<RequestItem>& items) const;
    /// Serves one varbind of a Get.
    /// @param wanted  fields needed for this varbind and those served together with it
    Answer getItem(Context& c, const OID& prefix, const OID& item, const std::optional<WantedFields>& wanted) const;
    /// Serves one varbind of a GetNext or GetBulk, with all its repetitions: the rows after it in its column, then the
    /// following columns, then the following branches.
    Answer getNextItem(Context& c, const OID& prefix, const OID& item, unsigned int repetitions,
                       const std::optional<WantedFields>& wanted) const;
    /// Writes all rows of this column and of those after it. True once no repetition remains or fits, false if the
    /// table ends before that.
    bool wrap(Context& c, const OID& prefix, Columns::const_iterator column) const;
    /// Continues in the following branches. Repetitions that remain at the end of the tree become endOfMibView.
    Answer complete(Context& c, const OID& prefix, const OID& item) const;
    /// Continues a walk that began in an earlier branch with the first rows of this table.
    Answer continueHere(Context& c) const;
    /// Fetches the row with exactly this index, as a list; null if there is none. If the index is that of several rows,
    /// the first one counts.
    [[nodiscard]] std::unique_ptr<VData> fetchRow(const OID& index, const std::optional<WantedFields>& wanted) const;
    /// The same, fetched once for a request unless other fields are wanted later.
    [[nodiscard]] const Data* rowAt(Context& c, const OID& index, const std::optional<WantedFields>& wanted) const;
    /// At least `count` rows after an index, or all there are; null if the owner doesn't know the index and the walk
    /// ends there. An empty index is the position before the first row. Fetched once for a request unless more rows or
    /// other fields are wanted later.
    [[nodiscard]] const Rows* rowsAfter(Context& c, const OID& index, unsigned int count,
                                        const std::optional<WantedFields>& wanted) const;
    /// The first rows after an index that the owner doesn't know: searches its rows from the first one on.
    [[nodiscard]] std::unique_ptr<VData> searchAfter(const OID& index, unsigned int count) const;
    /// Writes one cell and decrements c.pendingEndOfView. False if no repetition remains or no other cell fits.
    bool writeRow(Context& c, const OID& prefix, Columns::const_iterator column, const Data* row) const;

    Columns columns_;
    Table* table_;
};

/// Registers a table under the OID of its entry. Replaces a branch with the same prefix.
/// @param table  must live as long as the process
/// @return the branch, still without columns. It lives as long as the process
ColumnarBranch* addColumnarBranch(const OID& oid, Table* table);

}  // namespace snmp
