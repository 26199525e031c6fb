#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "tn/address.h"

namespace snmp {

/// Datagrams received with one system call, and the replies that wait to be sent with one. A reply goes to the sender
/// of its request. The packet information of the request (IP_PKTINFO, IPV6_PKTINFO) makes the reply leave from the
/// address to which the request was sent.
class Datagrams {
  public:
    static constexpr size_t kMax = 16;  ///< received at a time

    Datagrams();
    Datagrams(const Datagrams&) = delete;
    Datagrams& operator=(const Datagrams&) = delete;

    /// Receives the waiting datagrams, kMax at most. Doesn't block, even if there are none: a datagram with a bad
    /// checksum wakes the loop before the kernel drops it. All earlier datagrams must have been served, and their
    /// replies sent.
    void receive(int fd);
    [[nodiscard]] bool hasNext() const { return next_ < received_; }
    /// Makes the next datagram the current one. @return false if there is none
    bool next();
    [[nodiscard]] size_t waiting() const { return received_ - next_; }  ///< datagrams after the current one
    void dropRest() { received_ = next_; }                              ///< drops the datagrams after the current one

    /// Payload of the current datagram, or of the one `ahead` places after it. Valid until that one is answered.
    [[nodiscard]] std::span<const uint8_t> bytes(size_t ahead = 0) const;
    [[nodiscard]] tn::IPAddr6 source(size_t ahead = 0) const {
        return tn::IPAddr6::ofSockaddr(reinterpret_cast<const sockaddr&>(slots_[next_ - 1 + ahead].peer));
    }
    /// Copies the reply to the current datagram, for send(). To be called at most once for each datagram. A reply that
    /// is too large for any datagram is ignored.
    void answer(std::span<const uint8_t> reply);

    /// Sends the replies, in order. One that can't be sent is dropped: managers repeat unanswered requests.
    void send(int fd);

  private:
    struct Slot {
        sockaddr_in6 peer{};
        iovec content{};
        // Room for both records of a dual-stack socket. If recvmmsg cut them off, sendmmsg would fail.
        alignas(cmsghdr) std::array<std::byte, 128> ancillary{};
    };

    std::array<Slot, kMax> slots_;
    std::array<mmsghdr, kMax> requests_{};  ///< each refers to the slot with its index
    std::array<mmsghdr, kMax> replies_{};   ///< each refers to the slot of its request
    size_t received_ = 0;
    size_t next_ = 0;
    size_t answered_ = 0;  ///< replies to send
};

}  // namespace snmp
