#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "hostd/machine/disks.h"
#include "hostd/source/reading.h"

namespace hostd {

/// Reads the mounts and their sizes. A mount that hangs affects only its own size:
///
/// - One helper thread queries the mounts in turn. When a mount blocks it for kStep, another thread continues with the
///   rest.
/// - A mount that hasn't answered within kTimeout is late. From then on it is queried on a separate thread and isn't
///   waited for, until it answers in time again.
/// - A mount is never queried while an earlier query of it is pending. Meanwhile its last size stays valid, for
///   `maxAge` at most.
class DiskReader {
  public:
    static constexpr std::chrono::milliseconds kStep{10};      ///< time after which a thread counts as blocked
    static constexpr std::chrono::milliseconds kTimeout{100};  ///< time after which a mount is late

    /// @param proc    path of the kernel's process tree ("/proc"), for the mount list
    /// @param sizeOf  runs on helper threads, several at once, which may outlive this object
    /// @param maxAge  of a size
    DiskReader(std::string proc, DiskSizer sizeOf, std::chrono::milliseconds maxAge = kMaxReadingAge,
               MountChoice choice = MountChoice::Disks);

    /// Blocks for kTimeout at most, plus the time to read the mount list (proc(5), self/mountinfo). Returns all disks
    /// but those that removeCopies() removes. A disk has no size if its query failed, or hangs and there is no valid
    /// last size; `problem` lists those that hang. For one thread at a time.
    [[nodiscard]] Reading<Disk> read();

  private:
    using Clock = std::chrono::steady_clock;
    struct Probe;
    struct Work;
    /// Queries a mount, unless it is null, then the queued ones. Runs on a helper thread.
    static void ask(const std::shared_ptr<Work>& work, std::shared_ptr<Probe> probe);
    /// Starts a helper thread. If there is none, the query is retried with the next reading.
    void startThread(const std::shared_ptr<Probe>& first);
    /// Queues a query for each mount without a pending one. A late mount gets a thread instead. Called with the lock
    /// held, as startThread() is.
    void queue(const std::vector<Mount>& mounts);

    std::string proc_;
    std::chrono::milliseconds maxAge_;
    MountChoice choice_;
    std::shared_ptr<Work> work_;  ///< shared with threads that may outlive this object
};

}  // namespace hostd
