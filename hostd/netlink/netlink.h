#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "hostd/netlink/attributes.h"

namespace hostd {

/// One or more netlink requests in one buffer.
class NetlinkRequests {
  public:
    /// Begins a request and returns its fixed header, zeroed. Valid until the next one is begun.
    /// @param flags  NLM_F_DUMP, NLM_F_ACK; NLM_F_REQUEST is added
    template <class Header>
    Header& add(uint16_t type, uint16_t flags) {
        begin(type, flags);
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(current(), sizeof(Header)));
    }
    /// The request begun last, to put attributes into, up to kMaxRequest octets in total. Ended by finish().
    [[nodiscard]] nlmsghdr* current() { return reinterpret_cast<nlmsghdr*>(buffer_.data() + begun_); }
    void finish() { buffer_.resize(begun_ + current()->nlmsg_len); }
    /// Numbers the requests consecutively. @return how many there are
    uint32_t number(uint32_t first);
    [[nodiscard]] std::span<const uint8_t> bytes() const { return buffer_; }

  private:
    static constexpr size_t kMaxRequest = 512;  // octets
    void begin(uint16_t type, uint16_t flags);

    std::vector<uint8_t> buffer_;
    size_t begun_ = 0;
};

/// A netlink socket. Not copied; closed with the object.
///
/// Processes with CAP_NET_ADMIN can write to it, so only the kernel's messages are accepted. Once requests were sent,
/// only replies to the last ones are accepted, since an abandoned request may still be answered.
///
/// What is virtual is replaced in tests by a kernel that the test determines.
class NetlinkSocket {
  public:
    /// Empty: nothing is queued any more. Full: the limit was reached, more may be queued. Overrun: messages were lost,
    /// since they came too fast (ENOBUFS), or one was longer than 128 KiB (EMSGSIZE). Failed: errno is the reason.
    enum class Outcome { Empty, Full, Overrun, Failed };
    using Consumer = std::function<void(const nlmsghdr&)>;
    static constexpr std::chrono::milliseconds kTimeout{1000};

    /// @param sender  port id whose messages are accepted: the kernel's, 0, except in tests
    explicit NetlinkSocket(uint32_t sender = 0) : sender_(sender) {}
    virtual ~NetlinkSocket() { closeSocket(); }
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;

    /// Opens the socket anew.
    /// @param bus         NETLINK_ROUTE, NETLINK_GENERIC
    /// @param groups      bit mask of the first 32 multicast groups to subscribe to
    /// @param bufferSize  octets of messages that may be queued; the kernel may grant less; 0 for its default
    /// @return false, errno set and the socket closed, when the kernel refuses
    [[nodiscard]] virtual bool open(int bus, unsigned groups, int bufferSize = 0);
    virtual void close() { closeSocket(); }
    [[nodiscard]] virtual bool isOpen() const { return socket_ != nullptr; }
    /// The descriptor of an open socket; it stays this object's.
    [[nodiscard]] virtual int fd() const { return mnl_socket_get_fd(socket_); }

    /// Sends requests with new sequence numbers, which their replies repeat. False, errno set, when the kernel doesn't
    /// accept them all.
    virtual bool send(NetlinkRequests& requests);
    /// Receives what is queued, without waiting, at most `packets` of them, those of other senders included.
    virtual Outcome receive(size_t packets, const Consumer& consumer) const;
    /// Receives the messages of a dump, or of one request with NLM_F_ACK, and waits for them. False, errno set, when it
    /// failed (the kernel's reason), was interrupted by a change (NLM_F_DUMP_INTR: EINTR), or nothing came for kTimeout
    /// (ETIMEDOUT); the consumer may have got some messages by then.
    bool receiveReply(const Consumer& consumer) const;

  protected:
    /// Waits for a packet, kTimeout at most. False, errno set, when none came.
    [[nodiscard]] virtual bool waitForPacket() const;

  private:
    void closeSocket();
    [[nodiscard]] bool isWanted(const nlmsghdr& message) const;

    mnl_socket* socket_ = nullptr;
    uint32_t sender_;
    uint32_t firstRequest_ = 0;  ///< sequence number of the first request of the last send
    uint32_t requests_ = 0;      ///< number of requests in it
};

/// Makes a closed socket.
using NetlinkSocketMaker = std::function<std::unique_ptr<NetlinkSocket>()>;
[[nodiscard]] inline std::unique_ptr<NetlinkSocket> makeNetlinkSocket() { return std::make_unique<NetlinkSocket>(); }

}  // namespace hostd
