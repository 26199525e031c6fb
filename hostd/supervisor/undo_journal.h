#pragma once

#include <memory>
#include <set>

#include "hostd/table/id_table.h"
#include "tn/store.h"

namespace hostd {

/// {1, 1}: the last kMaxRecords undoable changes, newest last, in the store "/tern/store/undo". Records arrive through
/// the supervisor (cmd::RecordUndo at {1}). contracts/supervisor.h says how a client undoes one. Subscribers get
/// cmd::Changed for each record that is added, and for each that a client removes.
class UndoJournal : public IdTable {
  public:
    static constexpr size_t kMaxRecords = 100;

    UndoJournal();

    void loadPermData() override;
    /// Errors: error::NotFound, error::StoreFailed; the record stays then.
    tn::message cmdRemoveObj(const tn::message& request) override;

    /// Adds a record, its text cut to 1,000 octets, and drops the oldest past kMaxRecords. Errors: error::Refused for a
    /// record that can't be undone because its old request has no command or destination, error::StoreFailed; the
    /// journal is then unchanged.
    tn::message record(const tn::message& request);

  protected:
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(ids_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    void writeWhole(uint32_t id, tn::message& row) const override;

  private:
    std::unique_ptr<tn::Store> store_;
    std::set<uint32_t> ids_;
};

}  // namespace hostd
