#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "hostd/disks.h"
#include "hostd/watched_table.h"

namespace hostd {

/// Reads the mounts and their sizes, so that a mount that hangs costs its own size alone. One thread asks mount after
/// mount; while it is held up by one, another goes on with those that are left. A mount that was late is asked on a
/// thread of its own from then on, and not waited for; one that is still being asked isn't asked again. Until it
/// answers, its last size holds, `oldest` at most.
class DiskReader {
  public:
    static constexpr std::chrono::milliseconds kStep{10};      ///< after which one counts as held up
    static constexpr std::chrono::milliseconds kTimeout{100};  ///< after which a mount is late
    static constexpr std::chrono::milliseconds kOldest{90'000};

    /// @param proc    where the kernel's mount list is ("/proc")
    /// @param sizeOf  runs on helper threads, several at once
    DiskReader(std::string proc, DiskSizer sizeOf, std::chrono::milliseconds oldest = kOldest);

    /// Takes kTimeout at most, but for the mount list. The problem names the mounts that hang and have no size.
    [[nodiscard]] Reading<Disk> read();

  private:
    using Clock = std::chrono::steady_clock;
    struct Probe;
    struct Work;
    static void ask(const std::shared_ptr<Work>& work, std::shared_ptr<Probe> probe);
    void startThread(const std::shared_ptr<Probe>& first);
    void queue(const std::vector<Mount>& mounts);

    std::string proc_;
    std::chrono::milliseconds oldest_;
    std::shared_ptr<Work> work_;  ///< shared with threads that may outlive this
};

}  // namespace hostd
