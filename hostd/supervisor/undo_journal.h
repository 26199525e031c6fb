#pragma once

#include <memory>
#include <set>

#include "hostd/table/id_table.h"
#include "tn/store.h"

namespace hostd {

/// {1, 1}: the last 100 undoable changes, newest last, kept in the store "/tern/store/undo". Records come in through
/// the supervisor (cmd::RecordUndo at {1}).
class UndoJournal : public IdTable {
  public:
    static constexpr size_t kKept = 100;

    UndoJournal();

    void loadPermData() override;
    tn::message cmdRemoveObj(const tn::message& request) override;

    /// Keeps a record and drops the oldest past kKept. Errors: error::Refused for a record that can't be undone because
    /// its old request has no command or destination, error::StoreFailed; the journal is then as it was.
    tn::message record(const tn::message& request);

  protected:
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(ids_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void listRow(uint32_t id, tn::message& row) const override;
    void wholeRow(uint32_t id, tn::message& row) const override;

  private:
    std::unique_ptr<tn::Store> store_;
    std::set<uint32_t> ids_;
};

}  // namespace hostd
