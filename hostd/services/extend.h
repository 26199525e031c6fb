#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostd/services/extend_file.h"
#include "hostd/services/program.h"
#include "hostd/source/problem_log.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// The end of a command's last run.
struct ExtendResult {
    int status = -1;  ///< as ProgramResult
    std::string output;
    std::vector<std::string> lines;
};

/// The commands of /etc/tarnix-snmp/extend.conf, and their results. The file is read again when it has changed. It is
/// refused if a user other than root and this process's can write to it, its folder or a folder above; so is a program.
/// A refused file has no commands. Each run has a helper thread; there is one run of a command at a time.
class ExtendRuns {
  public:
    static constexpr std::chrono::milliseconds kMaxWait{200};  ///< of a request, for all commands that it wants

    /// @param file  path; without the file there are no commands
    explicit ExtendRuns(std::string file) : file_(std::move(file)) {}

    /// Reads the file if it has changed.
    void refresh();
    [[nodiscard]] size_t size() const { return slots_.size(); }
    [[nodiscard]] const ExtendCommand& command(size_t at) const { return slots_[at]->command; }
    /// Runs those of these commands whose result is older than the file says, and waits for them, kMaxWait at most. A
    /// command that took longer the last time isn't waited for.
    void run(const std::vector<size_t>& wanted);
    /// The last result; nullptr before the first one. It doesn't change.
    [[nodiscard]] std::shared_ptr<const ExtendResult> result(size_t at) const;

  private:
    /// Shared with the helper thread, which may outlive this.
    struct Slot {
        explicit Slot(ExtendCommand read) : command(std::move(read)) {}
        const ExtendCommand command;
        std::optional<std::chrono::milliseconds> started;  ///< of the last run, as of tn::sinceBoot
        bool isWaitedFor = true;                           ///< a request has waited for the run in progress
        ProblemLog problems{"command " + command.name};
        std::mutex mutex;  ///< of the rest
        std::condition_variable ended;
        bool isBusy = false;
        bool isSlow = false;  ///< the last run took longer than kMaxWait
        std::string problem;
        std::shared_ptr<const ExtendResult> result;
    };
    static void start(const std::shared_ptr<Slot>& slot);

    std::string file_;
    std::string state_;  ///< of the file when it was read: it is read again when that changes
    ProblemLog problems_{"extend.conf"};
    std::vector<std::shared_ptr<Slot>> slots_;
};

/// {24, 1100}: the commands. contracts::extend has the fields. Only requests that want results run them.
class ExtendCommands : public PositionTable {
  public:
    explicit ExtendCommands(std::shared_ptr<ExtendRuns> runs);

  protected:
    void refresh() override { runs_->refresh(); }
    void refreshRows(std::span<const size_t> rows) override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(runs_->size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    std::shared_ptr<ExtendRuns> runs_;
};

/// {24, 1101}: the lines of their output. contracts::extend_lines has the fields. Each request runs all commands that
/// are due.
class ExtendLines : public PositionTable {
  public:
    explicit ExtendLines(std::shared_ptr<ExtendRuns> runs);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    struct Line {
        size_t command;
        uint32_t number;  ///< from 1
    };
    [[nodiscard]] const std::string& text(const Line& line) const {
        return results_[line.command]->lines[line.number - 1];
    }

    std::shared_ptr<ExtendRuns> runs_;
    std::vector<std::shared_ptr<const ExtendResult>> results_;  ///< by command
    std::vector<Line> rows_;
};

}  // namespace hostd
