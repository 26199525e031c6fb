#pragma once

#include <map>
#include <set>
#include <string>

#include "hostd/supervisor/undo_journal.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {1}: knows which processes serve which numbers, from what they announce when they come up, and takes undo records
/// for the journal. A process that has ended is left out of the list: it is known by its pid and its start time, since
/// the kernel gives pids out again.
///
/// The list is of those that announced themselves since this process started.
class Supervisor : public IdTable {
  public:
    /// @param proc     where the kernel's process files are ("/proc")
    /// @param journal  takes the undo records; must outlive this
    Supervisor(std::string proc, UndoJournal& journal) : proc_(std::move(proc)), journal_(journal) {}

    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

    /// Notes that process `pid` serves `number` from now on, and whoever announced it before no more. A process that
    /// has ended meanwhile is passed over.
    void announce(uint32_t pid, uint32_t number);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(processes_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t pid) const override;
    void listRow(uint32_t pid, tn::message& row) const override;

  private:
    struct Process {
        uint64_t started = 0;    ///< clock ticks after boot, as the kernel counts them
        uint32_t announced = 0;  ///< uptime in seconds
        std::set<uint32_t> numbers;
    };
    tn::message takeAnnouncement(const tn::message& request);
    [[nodiscard]] std::optional<uint64_t> startTime(uint32_t pid) const;

    std::string proc_;
    UndoJournal& journal_;
    std::map<uint32_t, Process> processes_;  ///< by pid
};

}  // namespace hostd
