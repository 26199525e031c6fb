#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "agent/mib/key.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// The rows that a ColumnarBranch serves. Each call queries the rows' owner; the caller owns what it returns.
class Table {
  public:
    virtual ~Table() = default;
    /// The row at the key, as a list of one; null when there is none.
    [[nodiscard]] virtual std::unique_ptr<VData> get(const Key& key) = 0;
    /// Up to `count` rows from the key on, without the row at it when its skipFirst is set; null when the owner doesn't
    /// know the key, an empty list when it has no such rows.
    [[nodiscard]] virtual std::unique_ptr<VData> getNext(const Key& key, unsigned int count) = 0;
    /// Up to `count` rows from the beginning.
    [[nodiscard]] virtual std::unique_ptr<VData> getFirst(unsigned int count) = 0;
    /// Writes the changed row of this index back. False, after logging the reason, when it can't be written.
    virtual bool set(const OID& index, Data* row) = 0;
    /// Number of rows; 0 when the owner fails.
    virtual unsigned int count() = 0;
    /// Where the rows come from, for people: see Object::source.
    [[nodiscard]] virtual std::string source() const { return "the agent"; }
    /// Appends the index sub-identifiers of a row, which must be one of this table's.
    virtual void addKeyToName(const Data* row, OID& name) const = 0;
    /// The same as an OID of its own.
    [[nodiscard]] OID getKey(const Data* row) const;
    /// The key for the index part of an instance's name; an empty index gives the empty key, which is the first row.
    /// @param strict  an index that doesn't decode makes the key bad; else relaxed
    [[nodiscard]] virtual Key createKey(const OID& index, bool strict) const = 0;
};

class MapTable;

/// Where the rows of a MapTable come from.
class TableProvider {
  public:
    virtual ~TableProvider() = default;
    /// Writes a changed row back; false when it can't be written.
    virtual bool setData(Data* row, const MapTable* table) = 0;
    /// Rows at or from a key.
    /// @param count  0 for exactly the row at the key, else the number of rows wanted from the key on
    /// @return null when the owner doesn't know the key
    [[nodiscard]] virtual std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) = 0;
    /// Up to `count` rows from the beginning; never null.
    [[nodiscard]] virtual std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) = 0;
    /// @param n  receives the number of rows, 0 when the result is false
    virtual bool getCountCMD(unsigned int& n) = 0;
    [[nodiscard]] virtual std::string source() const { return "the agent"; }  ///< for people: see Object::source
};

/// A table whose rows an owner on the bus keeps, with its index described by packers.
class MapTable : public Table {
  public:
    /// @param provider  must outlive the table
    /// @param noStdKey  rows are named by a key message even though the only index is the object id
    MapTable(TableProvider* provider, bool noStdKey) : provider_(provider), noStdKey_(noStdKey) {}

    /// Appends an index; they are consumed from an instance's name in this order.
    /// @param fieldId  the message field that carries it to the owner; Packer::kNoField for a constant
    /// @param name     descriptor of the index object
    void addIndex(const Packer* packer, uint32_t fieldId, std::string_view name = {}) {
        indexes_.emplace_back(packer, fieldId);
        indexNames_.append(indexNames_.empty() ? "" : ", ").append(name);
    }
    [[nodiscard]] const std::string& indexNames() const { return indexNames_; }  ///< for people: see Object::index
    /// Whether rows are named by object id: exactly one index, on that field.
    [[nodiscard]] bool hasStdKey() const;

    std::unique_ptr<VData> get(const Key& key) override { return provider_->getData(key, this, 0); }
    std::unique_ptr<VData> getNext(const Key& key, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count) override { return provider_->getFirst(count, this); }
    bool set(const OID&, Data* row) override { return provider_->setData(row, this); }
    unsigned int count() override;
    std::string source() const override { return provider_->source(); }
    void addKeyToName(const Data* row, OID& name) const override;
    Key createKey(const OID& index, bool strict) const override;

    /// Puts the index fields of an instance's name into the message; false when it doesn't decode.
    bool addKeyToMessage(const OID& index, tn::message& m) const;
    /// Makes the message the index fields of a row.
    void addKeyToMessage(const Data* row, tn::message& m) const;

  private:
    std::vector<std::pair<const Packer*, uint32_t>> indexes_;
    std::string indexNames_;
    TableProvider* provider_;
    bool noStdKey_;
};

/// A row of a StaticMuxTable; the table sets its index.
struct MuxRow : Data {
    unsigned int rowId = 0;
};

/// A small fixed table: each row is a record of its own provider, registered under a one-number index.
class StaticMuxTable : public Table {
  public:
    /// @param index     one sub-identifier
    /// @param provider  gives MuxRow records, or null while the row isn't there; must outlive the table
    void addProvider(const OID& index, DataProvider* provider) { providers_[index] = provider; }

    std::unique_ptr<VData> get(const Key& key) override;
    std::unique_ptr<VData> getNext(const Key& key, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count) override;
    bool set(const OID& index, Data* row) override;
    unsigned int count() override { return static_cast<unsigned int>(providers_.size()); }
    void addKeyToName(const Data* row, OID& name) const override { name += static_cast<const MuxRow*>(row)->rowId; }
    Key createKey(const OID& index, bool strict) const override;

  private:
    using Providers = std::map<OID, DataProvider*>;
    static std::unique_ptr<VData> rowsFrom(Providers::const_iterator at, Providers::const_iterator end,
                                           unsigned int count);
    Providers providers_;
};

}  // namespace snmp
