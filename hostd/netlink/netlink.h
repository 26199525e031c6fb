#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "hostd/netlink/attributes.h"

namespace hostd {

/// One or more netlink requests in one buffer, for one send(). For each request: add(), optionally attributes with
/// libmnl's mnl_attr_put functions, then finish().
class NetlinkRequests {
  public:
    /// Begins a request. Returns its fixed header, filled with zeros, for the caller to complete. It is valid until the
    /// next request is begun.
    /// @param type   RTM_GETLINK, a generic netlink family, ...
    /// @param flags  NLM_F_DUMP, NLM_F_ACK or 0; NLM_F_REQUEST is added
    template <class Header>
    Header& add(uint16_t type, uint16_t flags) {
        begin(type, flags);
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(current(), sizeof(Header)));
    }
    /// The request that is being built, for attributes to be added. A whole request may have 512 octets (kMaxRequest),
    /// which isn't checked.
    [[nodiscard]] nlmsghdr* current() { return reinterpret_cast<nlmsghdr*>(buffer_.data() + begun_); }
    /// Completes the request that is being built.
    void finish() { buffer_.resize(begun_ + current()->nlmsg_len); }
    /// Gives the requests consecutive sequence numbers, the first one `first`. @return number of requests
    uint32_t number(uint32_t first);
    /// All finished requests, as they are sent.
    [[nodiscard]] std::span<const uint8_t> bytes() const { return buffer_; }

  private:
    static constexpr size_t kMaxRequest = 512;  ///< octets
    void begin(uint16_t type, uint16_t flags);

    std::vector<uint8_t> buffer_;
    size_t begun_ = 0;
};

/// A non-blocking netlink socket (netlink(7)). The destructor closes it. For one thread at a time.
///
/// Only the kernel's messages are accepted, since processes with CAP_NET_ADMIN can write to the socket, too. After a
/// send(), only replies to its requests are accepted: replies to earlier, abandoned requests may still be queued.
///
/// Operations are virtual so that tests can replace the kernel.
class NetlinkSocket {
  public:
    /// How receive() ended:
    /// - Empty: no packet is queued any more.
    /// - Full: the maximum number of packets was received; more may be queued.
    /// - Overrun: messages were lost. The queue was full (errno is ENOBUFS), or a packet exceeded 128 KiB (EMSGSIZE).
    /// - Failed: errno is the reason.
    enum class Outcome { Empty, Full, Overrun, Failed };
    /// Called with each accepted message, which is valid during the call only.
    using Consumer = std::function<void(const nlmsghdr&)>;
    static constexpr std::chrono::milliseconds kTimeout{1000};  ///< for each packet of a reply

    /// Creates a closed socket.
    /// @param sender  port id whose messages are accepted: 0, the kernel's, except in tests
    explicit NetlinkSocket(uint32_t sender = 0) : sender_(sender) {}
    virtual ~NetlinkSocket() { closeSocket(); }
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;

    /// Opens the socket. An open one is closed first, together with the messages queued in it.
    /// @param bus         NETLINK_ROUTE, NETLINK_GENERIC
    /// @param groups      bit mask of the multicast groups 1 to 32 to subscribe to (RTMGRP_*); 0 for none
    /// @param bufferSize  octets of messages that may be queued (SO_RCVBUFFORCE); without CAP_NET_ADMIN the kernel may
    ///                    grant less; 0 for its default
    /// @return false, errno set and the socket closed, when the kernel refuses
    [[nodiscard]] virtual bool open(int bus, unsigned groups, int bufferSize = 0);
    virtual void close() { closeSocket(); }
    [[nodiscard]] virtual bool isOpen() const { return socket_ != nullptr; }
    /// The descriptor of an open socket. It stays this object's, and changes with open().
    [[nodiscard]] virtual int fd() const { return mnl_socket_get_fd(socket_); }

    /// Gives the requests new sequence numbers, which their replies repeat, and sends them in one packet. False, errno
    /// set, when the kernel doesn't accept the packet.
    virtual bool send(NetlinkRequests& requests);
    /// Receives queued packets without waiting, and passes their accepted messages to the consumer.
    /// @param packets  maximum number to receive, including packets that aren't accepted
    virtual Outcome receive(size_t packets, const Consumer& consumer) const;
    /// Waits for the reply to a dump, or to one request with NLM_F_ACK, and passes its messages to the consumer. On
    /// failure it returns false with errno set: to the kernel's reason; to EINTR if a change interrupted the dump
    /// (NLM_F_DUMP_INTR); to ETIMEDOUT if no packet arrived for kTimeout. The consumer may have been called by then,
    /// and the rest of the reply may still arrive. After the next send() it is ignored.
    bool receiveReply(const Consumer& consumer) const;

  protected:
    /// Waits for a packet, kTimeout at most. False, errno set, when none arrived.
    [[nodiscard]] virtual bool waitForPacket() const;

  private:
    void closeSocket();
    [[nodiscard]] bool isWanted(const nlmsghdr& message) const;

    mnl_socket* socket_ = nullptr;
    uint32_t sender_;
    uint32_t firstRequest_ = 0;  ///< sequence number of the first request of the last send
    uint32_t requests_ = 0;      ///< number of requests in it
};

/// Creates a closed socket, which the caller owns. Tests replace it.
using NetlinkSocketMaker = std::function<std::unique_ptr<NetlinkSocket>()>;
[[nodiscard]] inline std::unique_ptr<NetlinkSocket> makeNetlinkSocket() { return std::make_unique<NetlinkSocket>(); }

}  // namespace hostd
