#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>

#include "tn/bus_socket.h"
#include "tn/thin_runner.h"

namespace tn {

/// The sockets on which a process waits for connections, one for each number that it serves. If the process has no
/// free descriptor, it stops accepting and tries again half a second later.
class BusListeners {
  public:
    /// @param connection  owned by the callee
    /// @param group       the group of the socket's file: its members may read
    using Accepted = std::function<void(Descriptor connection, gid_t group)>;

    /// @param runner    its loop accepts connections; must outlive this object
    /// @param accepted  called from the loop for each connection
    BusListeners(ThinRunner& runner, Accepted accepted) : runner_(runner), accepted_(std::move(accepted)) {}
    ~BusListeners() { close(); }
    BusListeners(const BusListeners&) = delete;
    BusListeners& operator=(const BusListeners&) = delete;

    /// Opens the sockets of these numbers, or takes them over from the service manager or spawner that started this
    /// process (sd_listen_fds, the number as the name). Numbers that are open already are left alone.
    /// @return false, with one line on standard error, at the first that can't be opened; those before it stay open
    bool open(std::span<const uint32_t> numbers);
    /// Removes the sockets, so that callers find no owner, but keeps the numbers locked.
    void withdraw();
    /// Removes the sockets and unlocks the numbers.
    void close();
    [[nodiscard]] bool isOpen() const { return open_; }
    /// Whether a connection waits to be accepted.
    [[nodiscard]] bool hasWaitingCallers() const;
    /// Whether every socket is inherited. The process that holds them can start this one again when a client connects.
    [[nodiscard]] bool areHandedOver() const;

  private:
    void takeOver();
    void watch(const BusListener& listener);
    void accept(const BusListener& listener);
    void pause(const char* why);  ///< accepts nothing for a while

    ThinRunner& runner_;
    Accepted accepted_;
    std::map<uint32_t, BusListener> listeners_;  ///< by number
    bool open_ = false;
    ThinRunner::TimerId resume_ = 0;                     ///< ends a pause; 0: none
    std::optional<std::chrono::milliseconds> reported_;  ///< when a pause was last logged, as of sinceBoot
};

}  // namespace tn
