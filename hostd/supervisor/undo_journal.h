#pragma once

#include <memory>
#include <set>

#include "hostd/table/id_table.h"
#include "tn/store.h"

namespace hostd {

/// {1, 1}: the last kMaxRecords changes that can be undone, newest last, in the store "/tern/store/undo". Records
/// arrive through the supervisor (cmd::RecordUndo at {1}). contracts/supervisor.h says how a client undoes a change.
/// Subscribers get cmd::Changed for each record that is added, and for each that a client removes.
class UndoJournal : public IdTable {
  public:
    static constexpr size_t kMaxRecords = 100;

    UndoJournal();

    /// Opens the store. Until then the journal is empty, and record() must not be called.
    void loadPermData() override;
    /// Removes a record. Errors: error::NotFound; error::StoreFailed, in which case the record stays.
    tn::message cmdRemoveObj(const tn::message& request) override;

    /// Adds a record, with its text cut to 1,000 octets. Removes the oldest records past kMaxRecords. Errors, which
    /// leave the journal unchanged: error::Refused if the request that would undo the change has no command or
    /// destination; error::StoreFailed.
    tn::message record(const tn::message& request);

  protected:
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(ids_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    void writeWhole(uint32_t id, tn::message& row) const override;

  private:
    std::unique_ptr<tn::Store> store_;  ///< nullptr before loadPermData()
    std::set<uint32_t> ids_;            ///< of the records in the store
};

}  // namespace hostd
