#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "hostd/netlink/netlink.h"
#include "tests/hostd/netlink/netlink_message.h"

namespace hostd {

/// The octets of one message.
using MessageOctets = std::vector<uint8_t>;

inline MessageOctets octetsOf(const nlmsghdr& message) {
    const auto* first = reinterpret_cast<const uint8_t*>(&message);
    return {first, first + message.nlmsg_len};
}

/// The kernel's end of the two netlink sockets of a follower. The test determines its notifications, listings and
/// errors.
class ScriptedKernel {
  public:
    using Packet = std::vector<MessageOctets>;
    virtual ~ScriptedKernel() = default;

    /// A maker that returns the socket for notifications first, then the one for listings. The sockets must not outlive
    /// this object.
    [[nodiscard]] NetlinkSocketMaker sockets();
    void notify(const nlmsghdr& message) { notices.push_back(octetsOf(message)); }

    std::deque<MessageOctets> notices;
    bool isOverrun = false;          ///< notifications have been lost; reset when that is reported
    int noticesError = 0;            ///< errno with which the socket for notifications can't be opened; 0 for none
    int openError = 0;               ///< the same for the socket for listings
    uint16_t refused = 0;            ///< type of requests that are refused
    bool isSilent = false;           ///< listings send no packet
    std::vector<uint16_t> requests;  ///< types of all requests
    int opened = 0;                  ///< attempts to open the socket for notifications

    /// Called when a listing of this type has been requested.
    virtual void begin(uint16_t type) = 0;
    /// The next packet of the listing. The last one ends with NLMSG_DONE or NLMSG_ERROR.
    virtual Packet nextPacket() = 0;

    static MessageOctets done(uint16_t flags = 0) { return ending(NLMSG_DONE, 0, flags); }
    static MessageOctets error(int code) { return ending(NLMSG_ERROR, -code, 0); }

  private:
    static MessageOctets ending(uint16_t type, int code, uint16_t flags) {
        NetlinkMessage<nlmsgerr> message(type, {.error = code, .msg = {}});
        message.raw()->nlmsg_flags = flags;
        return octetsOf(message.message());
    }
};

/// One of the kernel's two sockets.
class ScriptedSocket : public NetlinkSocket {
  public:
    ScriptedSocket(ScriptedKernel& kernel, bool isForNotices)
        : kernel_(kernel), isForNotices_(isForNotices), fd_(::eventfd(0, EFD_CLOEXEC)) {}
    ~ScriptedSocket() override { ::close(fd_); }

    bool open(int, unsigned, int) override {
        if (isForNotices_) ++kernel_.opened;
        errno = isForNotices_ ? kernel_.noticesError : kernel_.openError;
        return isOpen_ = errno == 0;
    }
    void close() override { isOpen_ = false; }
    [[nodiscard]] bool isOpen() const override { return isOpen_; }
    [[nodiscard]] int fd() const override { return fd_; }

    bool send(NetlinkRequests& requests) override {
        EXPECT_TRUE(isOpen_);
        bool isAccepted = true;
        forEachMessage(requests.bytes(), [&](const nlmsghdr& request) {
            kernel_.requests.push_back(request.nlmsg_type);
            isAccepted = isAccepted && request.nlmsg_type != kernel_.refused;
            if (isAccepted) kernel_.begin(request.nlmsg_type);
        });
        if (!isAccepted) errno = ENOBUFS;
        return isAccepted;
    }
    Outcome receive(size_t packets, const Consumer& consumer) const override {
        EXPECT_TRUE(isOpen_);
        return isForNotices_ ? receiveNotices(packets, consumer) : receiveListed(packets, consumer);
    }

  protected:
    [[nodiscard]] bool waitForPacket() const override {
        if (kernel_.isSilent) errno = ETIMEDOUT;
        return !kernel_.isSilent;
    }

  private:
    static const nlmsghdr& header(const MessageOctets& message) {
        return *reinterpret_cast<const nlmsghdr*>(message.data());
    }
    Outcome receiveNotices(size_t packets, const Consumer& consumer) const {
        errno = ENOBUFS;
        if (std::exchange(kernel_.isOverrun, false)) return Outcome::Overrun;
        for (; packets > 0; --packets) {
            if (kernel_.notices.empty()) return Outcome::Empty;
            const MessageOctets next = std::move(kernel_.notices.front());
            kernel_.notices.pop_front();
            consumer(header(next));
        }
        return Outcome::Full;
    }
    Outcome receiveListed(size_t packets, const Consumer& consumer) const {
        errno = EAGAIN;
        if (kernel_.isSilent) return Outcome::Empty;
        for (; packets > 0; --packets)
            for (const MessageOctets& message : kernel_.nextPacket()) consumer(header(message));
        return Outcome::Full;
    }

    ScriptedKernel& kernel_;
    bool isForNotices_;
    int fd_;
    bool isOpen_ = false;
};

inline NetlinkSocketMaker ScriptedKernel::sockets() {
    return [this, isFirst = std::make_shared<bool>(true)] {
        return std::make_unique<ScriptedSocket>(*this, std::exchange(*isFirst, false));
    };
}

}  // namespace hostd
