#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// What the kernel reports of one process.
struct Process {
    std::string name;  ///< of the program, cut by the kernel
    char state = 0;
    bool isKernel = false;  ///< a thread of the kernel
    uint64_t ticks = 0;     ///< clock ticks on processors
    uint64_t pages = 0;     ///< in main memory

    friend bool operator==(const Process&, const Process&) = default;
};

/// Parses the text of /proc/PID/stat (proc(5)); nothing if it isn't in that form.
[[nodiscard]] std::optional<Process> parseProcess(std::string_view stat);

/// {24, 1023}: the processes. contracts/host.h has the fields.
///
/// Which processes there are is read on a helper thread: with 10,000 of them, that takes 10 to 30 ms of CPU time. A
/// request uses the last list, so that it doesn't delay others. The fields are read for the rows of a reply only, so
/// the cost of a row doesn't depend on the number of processes.
class Processes : public IdTable {
  public:
    /// Of the list, while it is requested. Without requests, it is renewed every Watch::kIdleInterval.
    static constexpr std::chrono::seconds kMaxAge{2};

    /// @param proc  path of the kernel's process tree ("/proc")
    explicit Processes(const std::string& proc);
    /// Starts the first reading, and reads ahead from then on.
    void loadPermData() override { watch_.keepReading(); }
    /// Count and Limit, if the request has no row.
    tn::message cmdGet(const tn::message& request) override;

  protected:
    void refresh() override;
    void refreshRows(std::span<const uint32_t> ids) override;
    [[nodiscard]] uint32_t rowCount() const override;
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override;
    void writeRow(uint32_t id, tn::message& item) const override;

  private:
    using Pids = std::vector<uint32_t>;  ///< ascending
    struct Details {
        Process process;
        std::string commandLine;  ///< words, each followed by a NUL; read only if it is wanted
    };
    std::string proc_;
    Watch<Pids> watch_;
    std::shared_ptr<const Pids> pids_;
    std::map<uint32_t, Details> details_;  ///< of the rows of the reply being made
};

}  // namespace hostd
