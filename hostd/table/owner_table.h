#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "hostd/table/row_key.h"
#include "tn/handler.h"

namespace hostd {

/// An owner of ordered rows. It answers get-all, get, get-object, get-count and set for every table; a derived class
/// supplies its rows in ascending order of their keys, and no more.
///
/// get-all starts at the row asked for, by id (field::Continue) or by its key fields (field::Key), or at the first one,
/// and gives at most field::MaxObjects items, by default kPage. The reply has field::Continue when more follow than
/// were asked for or fit into one packet. An item has its row's id and, where a row follows, that row's as
/// field::NextId, when the table's rows are known by id.
///
/// - A key message with field::KeyIncomplete starts at the nearest row at or after it.
/// - One without it may name fewer fields than the table's key has; rows that agree in all fields up to the last one
///   named then count as one row. A field left out before a named one has the value that it has in the first row.
/// - Asked for one item at a row that isn't there: error::NotFound. Asked for more: the first item stands for that row,
///   with its key fields and field::Gone, so that a walk goes on from a row that was removed.
///
/// get and get-object with a row's id or key give the whole row, set with them is refused unless the table allows it;
/// error::NotFound when the row isn't there.
///
/// Whatever the table's size, a request costs O(log n + items) as long as lowerBound costs O(log n) and after O(1).
class OwnerTable : public tn::Handler {
  public:
    tn::message cmdGetAll(const tn::message& request) final { return page(request, Detail::Listed); }
    tn::message cmdGetObj(const tn::message& request) override;
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
    tn::message cmdSetObj(const tn::message& request) override { return cmdSet(request); }
    uint32_t getObjectCount() final;

  protected:
    static constexpr uint32_t kPage = 64;         ///< items, when the request doesn't say
    static constexpr uint32_t kMostItems = 1024;  ///< however many it asks for
    static constexpr size_t kMostRow = 4096;      ///< octets, flattened

    /// Where a row stands in its source; means what the source likes, and holds until the rows change.
    using Row = uint64_t;
    static constexpr Row kEnd = UINT64_MAX;

    /// How much of a row an item tells.
    enum class Detail { Listed, Brief };
    /// Answers a command that lists rows as get-all does; brief rows by default kMostItems of them.
    [[nodiscard]] tn::message page(const tn::message& request, Detail detail);

    OwnerTable() : OwnerTable({tn::field::ObjectId}) { isKnownById_ = true; }
    /// @param key  the fields that tell rows apart, in the order in which they sort; at most RowKey::kMost octets
    explicit OwnerTable(std::vector<KeyField> key);

    /// Called once before a request reads rows: what the source has to take in, it takes in now.
    virtual void refresh() {}
    /// Called with the rows that are about to be shown, unless it is in brief. Must leave them where they are.
    virtual void refreshRows(std::span<const Row>) {}

    [[nodiscard]] virtual uint32_t rowCount() const = 0;
    /// The first row whose key isn't before this one, or kEnd.
    [[nodiscard]] virtual Row lowerBound(const RowKey& key) const = 0;
    /// The row after a row that is there, or kEnd.
    [[nodiscard]] virtual Row after(Row row) const = 0;
    [[nodiscard]] virtual RowKey keyOf(Row row) const = 0;

    /// The fields of a row as listed by get-all, at most kMostRow octets of them; its id is added by the caller.
    virtual void writeRow(Row row, tn::message& item) const = 0;
    /// The same for a brief listing, for a table that has one.
    virtual void writeBrief(Row row, tn::message& item) const { writeRow(row, item); }
    /// The same for get and get-object, when that tells more.
    virtual void writeWhole(Row row, tn::message& item) const { writeRow(row, item); }
    /// Whether this row matches the filter fields of a get-all, if the table supports any.
    [[nodiscard]] virtual bool isWanted(Row, const tn::message&) const { return true; }
    /// Changes a row; refused unless overridden.
    virtual tn::message changeRow(Row row, const tn::message& request);

  private:
    /// Where a request's rows begin.
    struct Start {
        Row row = kEnd;        ///< the first row at or after the place asked for
        RowKey key;            ///< that place
        size_t fields = 0;     ///< of the key that the request determines
        size_t octets = 0;     ///< of these fields
        bool isExact = false;  ///< the row of just this key is wanted
        bool isGone = false;   ///< and isn't there
    };
    [[nodiscard]] Start start(const tn::message& request) const;
    [[nodiscard]] Start startAtKey(const tn::message& key) const;
    void locate(Start& start) const;
    [[nodiscard]] Row rowOf(const tn::message& request) const;
    [[nodiscard]] Row next(Row row, size_t groupOctets) const;
    [[nodiscard]] std::vector<Row> collect(const tn::message& request, Row row, size_t most, size_t groupOctets) const;
    [[nodiscard]] tn::message placeholder(const Start& start) const;
    void writeItem(Row row, Row next, Detail detail, tn::message& item) const;
    [[nodiscard]] uint32_t idOf(Row row) const { return keyOf(row).u32(0); }

    std::vector<KeyField> key_;
    size_t keySize_ = 0;
    bool isKnownById_ = false;
};

}  // namespace hostd
