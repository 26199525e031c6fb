#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "agent/mib/key.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"

namespace snmp {

/// The rows that a ColumnarBranch serves. Each call queries the rows' owner, and the caller owns the rows returned. If
/// the owner fails, that is logged, and no further rows are returned (compat: 21).
class Table {
  public:
    virtual ~Table() = default;
    /// The rows of the owner's item at the key: normally one. The owner may return the nearest item instead, so the
    /// caller must compare the index.
    /// @return null if the owner doesn't know the key; empty if the item has no rows
    [[nodiscard]] virtual std::unique_ptr<VData> get(const Key& key) = 0;
    /// The request to the owner with which get() of this key begins. Empty if it isn't known beforehand.
    [[nodiscard]] virtual tn::message request(const Key&) const { return {}; }
    /// Up to `count` rows from the key on, in ascending order of their index; without the row at the key if
    /// key.skipFirst is set.
    /// @return null if the owner doesn't know the key; empty if it has no such rows
    [[nodiscard]] virtual std::unique_ptr<VData> getNext(const Key& key, unsigned int count) = 0;
    /// Up to `count` rows from the first one on; never null.
    [[nodiscard]] virtual std::unique_ptr<VData> getFirst(unsigned int count) = 0;
    /// Writes a changed row back to its owner.
    /// @param row  from get() with this index; remains the caller's
    /// @return false if the owner refuses, fails, or doesn't reply in time (it may then make the change later)
    virtual bool set(const OID& index, Data* row) = 0;
    /// Number of rows; 0 if the owner fails.
    virtual unsigned int count() = 0;
    /// Where the rows come from, as text for docs/objects.md: see Object::source.
    [[nodiscard]] virtual std::string source() const { return "the agent"; }
    /// Appends the index sub-identifiers of a row.
    /// @param row  one of this table's: records of another class are undefined behaviour
    virtual void addKeyToName(const Data* row, OID& name) const = 0;
    /// The index of a row, as addKeyToName appends it.
    [[nodiscard]] OID getKey(const Data* row) const;
    /// The key for the index part of an instance's name. An empty index gives the empty key: the position before the
    /// first row.
    /// @param strict  true: an index that doesn't decode gives a bad key. False: it gives a relaxed key
    [[nodiscard]] virtual Key createKey(const OID& index, bool strict) const = 0;

    /// Adds the fields that a column is made of; nothing if it may need any.
    void addWanted(const std::optional<WantedFields>& fields);
    /// The fields of all columns in all branches that serve this table, ascending; nothing if any may be needed.
    [[nodiscard]] const std::optional<WantedFields>& wanted() const { return wanted_; }

  private:
    std::optional<WantedFields> wanted_ = WantedFields();
};

class MapTable;

/// The source of the rows of a MapTable. The table passes itself, because the provider needs its index.
class TableProvider {
  public:
    virtual ~TableProvider() = default;
    /// Writes a changed row back to its owner.
    /// @param row  remains the caller's
    /// @return as Table::set
    virtual bool setData(Data* row, const MapTable* table) = 0;
    /// Rows at a key, or from a key on.
    /// @param count  0: the rows of the item at the key. Otherwise the maximum number of rows from the key on
    /// @return null if the owner doesn't know the key
    [[nodiscard]] virtual std::unique_ptr<VData> getData(const Key& key, const MapTable* table, unsigned int count) = 0;
    /// The request to the owner with which getData() of this key and count 0 begins. Empty if it isn't known
    /// beforehand.
    [[nodiscard]] virtual tn::message request(const Key&, const MapTable*) const { return {}; }
    /// Up to `count` rows from the first one on; never null.
    [[nodiscard]] virtual std::unique_ptr<VData> getFirst(unsigned int count, const MapTable* table) = 0;
    /// @param n  receives the number of rows; 0 if the result is false
    /// @return false if the owner fails
    virtual bool getCountCMD(unsigned int& n) = 0;
    [[nodiscard]] virtual std::string source() const { return "the agent"; }  ///< see Object::source
};

/// A table whose rows come from an owner on the bus. Packers describe its index.
class MapTable : public Table {
  public:
    /// @param provider  must outlive the table
    /// @param noStdKey  true: identify rows by a key message even if the only index is the object id
    MapTable(TableProvider* provider, bool noStdKey) : provider_(provider), noStdKey_(noStdKey) {}

    /// Appends an index. The order of the calls is the order of the indexes in an instance's name. A table needs at
    /// least one.
    /// @param packer   for the table's records; must outlive the table
    /// @param fieldId  the field that contains this index in key messages; Packer::kNoField for a constant
    /// @param name     descriptor of the index object
    void addIndex(const Packer* packer, uint32_t fieldId, std::string_view name = {}) {
        indexes_.emplace_back(packer, fieldId);
        indexNames_.append(indexNames_.empty() ? "" : ", ").append(name);
    }
    [[nodiscard]] const std::string& indexNames() const { return indexNames_; }  ///< see Object::index
    /// Whether rows are identified by object id: if that is the only index, and noStdKey is false.
    [[nodiscard]] bool hasStdKey() const;

    std::unique_ptr<VData> get(const Key& key) override { return provider_->getData(key, this, 0); }
    tn::message request(const Key& key) const override {
        return hasStdKey() ? provider_->request(key, this) : tn::message();
    }
    std::unique_ptr<VData> getNext(const Key& key, unsigned int count) override;
    std::unique_ptr<VData> getFirst(unsigned int count) override { return provider_->getFirst(count, this); }
    bool set(const OID&, Data* row) override { return provider_->setData(row, this); }
    unsigned int count() override;
    std::string source() const override { return provider_->source(); }
    void addKeyToName(const Data* row, OID& name) const override;
    Key createKey(const OID& index, bool strict) const override;

    /// Inserts the index part of an instance's name into a key message. Sub-identifiers after the last index are
    /// ignored (compat: 25).
    /// @return false if the index doesn't decode. The message then has the fields up to the fault: the key of the
    ///         nearest row
    bool addKeyToMessage(const OID& index, tn::message& m) const;
    /// Clears the message and inserts the index of a row.
    void addKeyToMessage(const Data* row, tn::message& m) const;

  private:
    std::vector<std::pair<const Packer*, uint32_t>> indexes_;  ///< packers with their fields in key messages
    std::string indexNames_;
    TableProvider* provider_;
    bool noStdKey_;
};

/// A row of a StaticMuxTable.
struct MuxRow : Data {
    unsigned int rowId = 0;  ///< its index, set by the table
};

/// A small table with a fixed set of rows. Each row has its own provider and an index of one number.
class StaticMuxTable : public Table {
  public:
    /// Adds a row, or replaces its provider.
    /// @param index     one sub-identifier
    /// @param provider  returns MuxRow records, or null while the row is absent; must outlive the table
    void addProvider(const OID& index, DataProvider* provider) { providers_[index] = provider; }

    /// Null if no row has this index.
    std::unique_ptr<VData> get(const Key& key) override;
    std::unique_ptr<VData> getNext(const Key& key, unsigned int count) override;  ///< never null
    std::unique_ptr<VData> getFirst(unsigned int count) override;
    /// False if no row has this index, or its provider fails.
    bool set(const OID& index, Data* row) override;
    /// Rows that were added, including those that are absent now.
    unsigned int count() override { return static_cast<unsigned int>(providers_.size()); }
    void addKeyToName(const Data* row, OID& name) const override { name += static_cast<const MuxRow*>(row)->rowId; }
    Key createKey(const OID& index, bool strict) const override;

  private:
    using Providers = std::map<OID, DataProvider*>;
    /// Up to `count` rows of the providers in this range; never null.
    static std::unique_ptr<VData> rowsFrom(Providers::const_iterator at, Providers::const_iterator end,
                                           unsigned int count);
    Providers providers_;
};

}  // namespace snmp
