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
    int release();  ///< gives it up without closing it. @return -1 when there is none

  private:
    int fd_ = -1;
};

/// The listening socket of one number, busFolder()/NUMBER, mode 0660. Its holder may serve the number itself or
/// hand the socket to a process that it starts (sd_listen_fds, the number as the name).
struct BusListener {
    Descriptor socket;
    Descriptor lock;   ///< NUMBER.lock, locked with flock for as long as this process holds the number
    gid_t group = 0;   ///< its members may read
    bool ours = true;  ///< false: handed over by the starter of this process, which holds the socket, too

    /// Closes the socket and removes its file, unless it was handed over. The lock stays.
    void withdraw(uint32_t number);
};

/// In the environment of a process that was handed a socket: the number whose lock its spawner holds. systemd hands
/// sockets over, too, and locks nothing.
inline constexpr const char* kLockedNumber = "TARNIX_LOCKED_NUMBER";

/// Locks these numbers, before anything else under the root is opened; openBusListener takes the locks over. That of
/// kLockedNumber, which is removed from the environment, is left to its holder.
/// @param why  one line when that fails: another live process serves one of them, the folder can't be created. Locks
///             taken before the failure are held until the process ends.
[[nodiscard]] bool claimBusNumbers(std::span<const uint32_t> numbers, std::string& why);

/// The listening sockets handed over by a service manager or spawner, by their names (sd_listen_fds_with_names).
[[nodiscard]] std::multimap<std::string, int> receivedSockets();

/// Opens the listening socket of a number; a socket left behind by a dead process is replaced.
/// @param why  one line when that fails: another live process serves the number, the folder can't be made
/// @return nothing in `socket` when that fails
[[nodiscard]] BusListener openBusListener(uint32_t number, std::string& why);

/// Connects to the process that serves a number. Nothing, errno set, when there is none (ENOENT, ECONNREFUSED) or it
/// didn't accept the connection within `timeout` (EAGAIN; 0 doesn't wait).
[[nodiscard]] Descriptor dialBus(uint32_t number, std::chrono::milliseconds timeout);

/// A timeout as socket options want it.
[[nodiscard]] timeval timevalOf(std::chrono::milliseconds timeout);

/// Makes room for one packet of kMaxPacket octets in either direction. Without privileges there may be less: sending a
/// packet that doesn't fit is then Sent::TooLarge.
void makeRoomForPackets(int fd);

/// Process at the other end of a connection (SO_PEERCRED), and what it may do here.
struct BusPeer {
    pid_t pid = 0;        ///< 0: it is in another pid namespace
    uint32_t rights = 0;  ///< right::All for uid 0 and our own uid, right::Reading for members of `group`
};
[[nodiscard]] BusPeer peerOf(int fd, gid_t group);

}  // namespace tn
