#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "hostd/services/script_run.h"
#include "hostd/source/timer.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// {48, 101}: the executable regular files of a folder. contracts/scripts.h has the command and the field. A script
/// keeps its id as long as this process runs, also when a set renames it. One that is renamed in the folder is a new
/// script. The id of a removed script isn't used again.
class Scripts : public IdTable {
  public:
    /// The folder is read again when its modification time changes, and when the last reading is older than this: the
    /// time doesn't show that a file has become executable.
    static constexpr std::chrono::seconds kMaxAge{5};
    static constexpr size_t kMaxRuns = 16;  ///< scripts that run at the same time

    /// @param folder  path; without the folder there are no scripts
    explicit Scripts(std::string folder) : folder_(std::move(folder)) {}

    /// kRun. Errors: error::NotFound, error::Refused. A script is refused when
    /// - it can't be started, or kMaxRuns scripts are running,
    /// - its name begins with - or has octets that aren't printable ASCII,
    /// - a user other than root and this process's user owns or can write to the script, its folder or a folder above.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(names_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    /// Renames a script, with a log line. error::Refused, with the reason, when the new name is empty, longer than 255
    /// octets or taken, begins with a dot, or has a slash or a zero octet, and when the file can't be renamed.
    tn::message changeRow(uint32_t id, const tn::message& request) override;

  private:
    /// Reads the folder: removes scripts that have gone, and gives new ones an id.
    void scan();
    tn::message run(const tn::message& request);

    std::string folder_;
    std::map<uint32_t, std::string> names_;  ///< by id
    uint32_t lastId_ = 0;                    ///< the highest id that was ever used
    int64_t folderChanged_ = -1;             ///< modification time of the folder as it was read: ns since 1970
    std::chrono::milliseconds scanned_{};    ///< when the folder was read, as of tn::sinceBoot
    std::map<uint64_t, std::unique_ptr<ScriptRun>> runs_;  ///< those in progress, and some that have ended
    uint64_t lastRun_ = 0;                                 ///< the highest key of runs_ that was ever used
};

}  // namespace hostd
