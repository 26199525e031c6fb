#include "hostd/netlink.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace hostd {

namespace {

// The kernel makes packets of a dump as large as the reader's buffer allows, up to 32 KiB, and larger ones only of
// links with all their virtual functions, which nobody here asks for. A notification is as long as it has to be: that
// of a route is hardly longer than the attribute of its next hops, up to 64 KiB. What isn't filled costs nothing.
constexpr size_t kPacket = 128 * 1024;
constexpr int kPatience = 1000;  // milliseconds

}  // namespace

void NetlinkRequests::begin(uint16_t type, uint16_t flags, uint32_t number) {
    begun_ = buffer_.size();
    buffer_.resize(begun_ + kMostRequest);
    nlmsghdr* header = mnl_nlmsg_put_header(buffer_.data() + begun_);
    header->nlmsg_type = type;
    header->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    header->nlmsg_seq = number;
}

bool NetlinkSocket::open(int bus, unsigned groups, int room) {
    close();
    socket_ = mnl_socket_open2(bus, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket_ == nullptr) return false;
    // The forced size needs CAP_NET_ADMIN; without it the system's limit holds.
    if (room > 0 && ::setsockopt(fd(), SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room) != 0)
        ::setsockopt(fd(), SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    if (mnl_socket_bind(socket_, groups, MNL_SOCKET_AUTOPID) == 0) return true;
    const int reason = errno;
    close();
    errno = reason;
    return false;
}

void NetlinkSocket::close() {
    if (socket_ != nullptr) mnl_socket_close(socket_);
    socket_ = nullptr;
}

bool NetlinkSocket::send(std::span<const uint8_t> requests) {
    return mnl_socket_sendto(socket_, requests.data(), requests.size()) == static_cast<ssize_t>(requests.size());
}

NetlinkSocket::Outcome NetlinkSocket::take(size_t packets, const Taker& taker) const {
    alignas(nlmsghdr) std::array<uint8_t, kPacket> packet;  // filled by recv
    bool isCut = false;
    Outcome outcome = Outcome::Full;
    while (packets-- > 0) {
        const ssize_t n = ::recv(fd(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {
            outcome = Outcome::Empty;
            break;
        }
        if (n < 0) return errno == ENOBUFS ? Outcome::Overrun : Outcome::Failed;
        const auto size = static_cast<size_t>(n);  // of the packet as it was sent
        isCut = isCut || size > packet.size();
        forEachMessage({packet.data(), std::min(size, packet.size())}, taker);
    }
    if (!isCut) return outcome;
    errno = EMSGSIZE;
    return Outcome::Overrun;
}

bool NetlinkSocket::takeAnswer(const Taker& taker) const {
    bool isDone = false;
    bool isWhole = true;
    const auto look = [&](const nlmsghdr& message) {
        if ((message.nlmsg_flags & NLM_F_DUMP_INTR) != 0) isWhole = false;
        if (message.nlmsg_type == NLMSG_DONE) {
            isDone = true;
        } else if (message.nlmsg_type == NLMSG_ERROR) {
            const auto* error = payload<nlmsgerr>(message);
            isDone = true;
            if (error == nullptr || error->error != 0) isWhole = false;
        } else {
            taker(message);
        }
    };
    while (!isDone) {
        pollfd waiting{fd(), POLLIN, 0};
        const int ready = ::poll(&waiting, 1, kPatience);
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return false;
        const Outcome outcome = take(1, look);
        if (outcome == Outcome::Overrun || outcome == Outcome::Failed) return false;
    }
    return isWhole;
}

}  // namespace hostd
