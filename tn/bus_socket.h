#pragma once

#include <sys/time.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <span>
#include <string>

namespace tn {

/// Owns a file descriptor, and closes it.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { reset(); }

    [[nodiscard]] int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset();   ///< closes it
    int release();  ///< transfers it to the caller. @return -1 if there is none

  private:
    int fd_ = -1;
};

/// The listening socket of one number, busFolder()/NUMBER, mode 0660. Its holder may serve the number itself or
/// hand the socket to a process that it starts (sd_listen_fds, the number as the name).
struct BusListener {
    Descriptor socket;
    Descriptor lock;   ///< NUMBER.lock, locked with flock for as long as this process holds the number
    gid_t group = 0;   ///< of the socket's file; its members may read
    bool ours = true;  ///< false: inherited from the process that started this one, which holds the socket, too

    /// Closes the socket. Its file is removed unless the socket was inherited. The lock stays.
    void withdraw(uint32_t number);
};

/// Environment variable with the number of an inherited socket whose lock the spawner holds. systemd doesn't set it,
/// since it holds no locks.
inline constexpr const char* kLockedNumber = "TARNIX_LOCKED_NUMBER";

/// Locks these numbers until openBusListener opens their sockets. To be called before anything else under the root is
/// opened. The number in kLockedNumber isn't locked, since the spawner holds its lock; the variable is removed from the
/// environment.
/// @param why  one line on failure: another live process serves one of the numbers, or the folder can't be created
/// @return false on failure; locks acquired before it are held until the process ends
[[nodiscard]] bool claimBusNumbers(std::span<const uint32_t> numbers, std::string& why);

/// The descriptors inherited from a service manager or spawner, by name (sd_listen_fds_with_names). They stay open.
[[nodiscard]] std::multimap<std::string, int> receivedSockets();

/// Opens the listening socket of a number. A socket left behind by a dead process is replaced.
/// @param why  one line on failure: another live process serves the number, or the folder can't be created
/// @return without a `socket` on failure
[[nodiscard]] BusListener openBusListener(uint32_t number, std::string& why);

/// Connects to the process that serves a number.
/// @param timeout  for that process to accept the connection; 0 doesn't wait
/// @return empty on failure, with errno set: ENOENT or ECONNREFUSED without such a process, EAGAIN after the timeout
[[nodiscard]] Descriptor dialBus(uint32_t number, std::chrono::milliseconds timeout);

/// A timeout in the form of socket options (SO_RCVTIMEO).
[[nodiscard]] timeval timevalOf(std::chrono::milliseconds timeout);

/// Sets the socket's buffers to one packet of kMaxPacket octets in either direction. Without privileges they may stay
/// smaller; sending a packet that doesn't fit is then Sent::TooLarge.
void makeRoomForPackets(int fd);

/// The process at the other end of a connection (SO_PEERCRED), and its rights.
struct BusPeer {
    pid_t pid = 0;        ///< 0 if it is in another pid namespace
    uint32_t rights = 0;  ///< right::All for uid 0 and our own uid, right::Reading for members of `group`, else none
};
[[nodiscard]] BusPeer peerOf(int fd, gid_t group);

}  // namespace tn
