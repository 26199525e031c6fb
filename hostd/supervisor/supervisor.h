#pragma once

#include <map>
#include <set>
#include <string>

#include "hostd/supervisor/undo_journal.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {1}: the processes on the bus and the numbers that each serves. It also passes undo records to the journal.
/// contracts/supervisor.h has the commands and fields. Processes announce their numbers when they start. A row's id is
/// the pid. A process that has ended has no row; since the kernel reuses pids, the start time is compared, too.
class Supervisor : public IdTable {
  public:
    /// @param proc     path of the kernel's process tree ("/proc")
    /// @param journal  receives the undo records; must outlive this
    Supervisor(std::string proc, UndoJournal& journal) : proc_(std::move(proc)), journal_(journal) {}

    /// kAnnounce, and cmd::RecordUndo, which goes to the journal. Errors: error::Refused for an announcement without a
    /// number; those of UndoJournal::record.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

    /// Records that process `pid` serves `number` from now on, and no other process does. Changes nothing if process
    /// `pid` has ended meanwhile.
    void announce(uint32_t pid, uint32_t number);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(processes_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t pid) const override;
    void writeRow(uint32_t pid, tn::message& row) const override;

  private:
    struct Process {
        uint64_t started = 0;        ///< start time of the process: clock ticks since boot
        uint32_t announced = 0;      ///< when it first announced a number: s since boot (tn::getUptime)
        std::set<uint32_t> numbers;  ///< the bus numbers that it serves
    };
    tn::message acceptAnnouncement(const tn::message& request);
    /// The start time of a process in clock ticks since boot (proc(5), PID/stat). Nothing when the process has ended,
    /// even if it hasn't been reaped yet.
    [[nodiscard]] std::optional<uint64_t> startTime(uint32_t pid) const;

    std::string proc_;
    UndoJournal& journal_;
    std::map<uint32_t, Process> processes_;  ///< by pid
};

}  // namespace hostd
