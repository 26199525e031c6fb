#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "hostd/machine/disks.h"
#include "hostd/source/reading.h"

namespace hostd {

/// Reads the mounts and their sizes; a mount that hangs affects its own size only. One thread queries the mounts in
/// turn; while one blocks it, another thread continues with the rest. A late mount gets a separate thread and isn't
/// waited for, until it answers in time again; while a query is pending no other is started. Until it answers, its last
/// size stays valid, for `maxAge` at most.
class DiskReader {
  public:
    static constexpr std::chrono::milliseconds kStep{10};      ///< after which a thread counts as blocked
    static constexpr std::chrono::milliseconds kTimeout{100};  ///< after which a mount is late

    /// @param proc    where the kernel's mount list is ("/proc")
    /// @param sizeOf  runs on helper threads, several at once
    DiskReader(std::string proc, DiskSizer sizeOf, std::chrono::milliseconds maxAge = kMaxReadingAge);

    /// Takes at most kTimeout plus the time to read the mount list. Returns every disk. One whose query failed, or
    /// hangs without a valid last size, has none; `problem` names those that hang.
    [[nodiscard]] Reading<Disk> read();

  private:
    using Clock = std::chrono::steady_clock;
    struct Probe;
    struct Work;
    static void ask(const std::shared_ptr<Work>& work, std::shared_ptr<Probe> probe);
    void startThread(const std::shared_ptr<Probe>& first);
    void queue(const std::vector<Mount>& mounts);

    std::string proc_;
    std::chrono::milliseconds maxAge_;
    std::shared_ptr<Work> work_;  ///< shared with threads that may outlive this object
};

}  // namespace hostd
