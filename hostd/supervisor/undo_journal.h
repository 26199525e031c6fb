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

// The contract. Fields are those of tn::undo; ids grow with time.
//
//   id  kind     unit                 source                              told by
//    1  message  New, the request     cmd::RecordUndo                     get-object
//    2  message  Old, the request     cmd::RecordUndo                     get-object
//    3  string   Text, at most 1,000  cmd::RecordUndo                     get-all, get-object, cmd::Changed
//    4  u32      When, s since epoch  the clock as the record arrives     get-all, get-object, cmd::Changed
//
// New and Old hold what the change held, passwords included: get and get-object need right::Write.
//
// Undoing is the client's work. It reads the whole record with get-object, sends Old to the destination and with the
// command found in it, adding field::NoUndo so that the undo isn't recorded itself, and when that was answered without
// an error, takes the record out with remove-object. The journal never sends Old itself: the owner of the change may at
// that moment be waiting for this process, and two processes that wait for one another would stand still.

}  // namespace hostd
