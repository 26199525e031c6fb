#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace hostd {

/// Which process has a socket open: PROC/PID/fd. The processes are searched only when there is a socket that none of
/// them had before, and at most every five seconds, since that reads the name of every open file of the machine. For
/// one thread at a time.
class SocketProcesses {
  public:
    explicit SocketProcesses(std::string proc) : proc_(std::move(proc)) {}
    /// Prepares for of(): searches the processes if that is needed and due.
    /// @param inodes  of the sockets
    void find(const std::vector<uint32_t>& inodes);
    /// The lowest pid of the processes that have this socket open; 0 if none has, or its files may not be read.
    [[nodiscard]] uint32_t of(uint32_t inode) const;

  private:
    void search();

    std::string proc_;
    std::unordered_map<uint32_t, uint32_t> pids_;        ///< by inode, as of the last search
    std::optional<std::chrono::milliseconds> searched_;  ///< as of tn::sinceBoot
};

}  // namespace hostd
