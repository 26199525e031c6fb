#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>

#include "tn/bus_socket.h"
#include "tn/thin_runner.h"

namespace tn {

/// The sockets on which a process waits for connections, one for each number it serves.
class BusListeners {
  public:
    using Accepted = std::function<void(Descriptor connection, gid_t group)>;

    BusListeners(ThinRunner& runner, Accepted accepted) : runner_(runner), accepted_(std::move(accepted)) {}
    ~BusListeners() { close(); }
    BusListeners(const BusListeners&) = delete;
    BusListeners& operator=(const BusListeners&) = delete;

    /// Opens the sockets of these numbers, or takes them over from the service manager or spawner that started this
    /// process (sd_listen_fds, the number as the name). False, with one line on standard error, when one can't be had.
    bool open(std::span<const uint32_t> numbers);
    void withdraw();  ///< takes the sockets away, but holds the numbers
    void close();
    [[nodiscard]] bool isOpen() const { return open_; }
    [[nodiscard]] bool hasWaitingCallers() const;  ///< a connection waits to be accepted
    /// Every socket is held by another process, too, which can start this one again when a caller connects.
    [[nodiscard]] bool areHandedOver() const;

  private:
    void takeOver();
    void watch(const BusListener& listener);
    void accept(const BusListener& listener);
    void pause(const BusListener& listener);

    ThinRunner& runner_;
    Accepted accepted_;
    std::map<uint32_t, BusListener> listeners_;
    bool open_ = false;
    ThinRunner::TimerId resume_ = 0;
};

}  // namespace tn
