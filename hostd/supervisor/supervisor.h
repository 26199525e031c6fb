#pragma once

#include <map>
#include <set>
#include <string>

#include "hostd/supervisor/undo_journal.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {1}: lists which processes serve which numbers, as they announce it when they come up, and passes undo records on to
/// the journal. contracts/supervisor.h has the commands and fields. A process that has ended is no longer listed. It is
/// identified by pid and start time, since the kernel reuses pids.
class Supervisor : public IdTable {
  public:
    /// @param proc     where the kernel's process files are ("/proc")
    /// @param journal  receives the undo records; must outlive this
    Supervisor(std::string proc, UndoJournal& journal) : proc_(std::move(proc)), journal_(journal) {}

    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

    /// Notes that process `pid` serves `number` from now on, and the process that announced it before doesn't any more.
    /// Nothing changes if process `pid` has ended meanwhile.
    void announce(uint32_t pid, uint32_t number);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(processes_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t pid) const override;
    void writeRow(uint32_t pid, tn::message& row) const override;

  private:
    struct Process {
        uint64_t started = 0;    ///< clock ticks after boot, as the kernel counts them
        uint32_t announced = 0;  ///< uptime in seconds
        std::set<uint32_t> numbers;
    };
    tn::message acceptAnnouncement(const tn::message& request);
    /// In clock ticks after boot; nothing when the process has ended, also when it isn't reaped yet.
    [[nodiscard]] std::optional<uint64_t> startTime(uint32_t pid) const;

    std::string proc_;
    UndoJournal& journal_;
    std::map<uint32_t, Process> processes_;  ///< by pid
};

}  // namespace hostd
