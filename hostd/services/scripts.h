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
/// keeps its id, renamed or not, for the life of this process; the id of a removed one isn't used again.
class Scripts : public IdTable {
  public:
    static constexpr std::chrono::seconds kMaxAge{
        5};                                 ///< the folder's time doesn't show that a file's mode has changed
    static constexpr size_t kMaxRuns = 16;  ///< at the same time

    explicit Scripts(std::string folder) : folder_(std::move(folder)) {}

    /// Errors of scripts::kRun: error::NotFound; error::Refused when the script can't be started, kMaxRuns are running,
    /// its name begins with - or has octets that aren't printable ASCII, or anyone but root and this process's user
    /// owns or can write to the script, its folder or a folder above.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(names_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& row) const override;
    /// Renames. error::Refused for a name that is empty, begins with a dot, has a slash or a zero octet, or is taken.
    tn::message changeRow(uint32_t id, const tn::message& request) override;

  private:
    void scan();
    tn::message run(const tn::message& request);

    std::string folder_;
    std::map<uint32_t, std::string> names_;
    uint32_t lastId_ = 0;
    int64_t folderChanged_ = -1;  ///< ns since the epoch, when the folder was read
    std::chrono::milliseconds scanned_{};
    std::map<uint64_t, std::unique_ptr<ScriptRun>> runs_;
    uint64_t lastRun_ = 0;
};

}  // namespace hostd
