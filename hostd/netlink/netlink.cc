#include "hostd/netlink/netlink.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace hostd {

namespace {

// Octets. The kernel fills the packets of a dump up to the size of the reader's buffer, 32 KiB at most. It exceeds that
// only for links with all their virtual functions, which aren't requested here. A notification has no such limit, but
// the longest ones are those of routes: their attribute with the next hops has at most 64 KiB. Stack memory that isn't
// filled costs nothing.
constexpr size_t kMaxPacket = 128 * 1024;

}  // namespace

void NetlinkRequests::begin(uint16_t type, uint16_t flags) {
    begun_ = buffer_.size();
    buffer_.resize(begun_ + kMaxRequest);
    nlmsghdr* header = mnl_nlmsg_put_header(buffer_.data() + begun_);
    header->nlmsg_type = type;
    header->nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
}

uint32_t NetlinkRequests::number(uint32_t first) {
    uint32_t count = 0;
    for (size_t at = 0; at < buffer_.size(); ++count) {
        auto& header = *reinterpret_cast<nlmsghdr*>(buffer_.data() + at);
        header.nlmsg_seq = first + count;
        at += header.nlmsg_len;
    }
    return count;
}

bool NetlinkSocket::open(int bus, unsigned groups, int bufferSize) {
    closeSocket();
    socket_ = mnl_socket_open2(bus, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket_ == nullptr) return false;
    // SO_RCVBUFFORCE needs CAP_NET_ADMIN. SO_RCVBUF is limited by net.core.rmem_max.
    const int fd = mnl_socket_get_fd(socket_);
    if (bufferSize > 0 && ::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bufferSize, sizeof bufferSize) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    if (mnl_socket_bind(socket_, groups, MNL_SOCKET_AUTOPID) == 0) return true;
    const int reason = errno;
    closeSocket();
    errno = reason;
    return false;
}

void NetlinkSocket::closeSocket() {
    if (socket_ != nullptr) mnl_socket_close(socket_);
    socket_ = nullptr;
}

bool NetlinkSocket::send(NetlinkRequests& requests) {
    firstRequest_ += requests_;
    requests_ = requests.number(firstRequest_);
    const auto bytes = requests.bytes();
    return mnl_socket_sendto(socket_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

bool NetlinkSocket::isWanted(const nlmsghdr& message) const {
    return requests_ == 0 || message.nlmsg_seq - firstRequest_ < requests_;  // unsigned: sequence numbers may wrap
}

NetlinkSocket::Outcome NetlinkSocket::receive(size_t packets, const Consumer& consumer) const {
    alignas(nlmsghdr) std::array<uint8_t, kMaxPacket> packet;  // filled by recv
    sockaddr_nl from{};
    bool isCut = false;
    Outcome outcome = Outcome::Full;
    while (packets-- > 0) {
        socklen_t length = sizeof from;
        const ssize_t n = ::recvfrom(fd(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_TRUNC,
                                     reinterpret_cast<sockaddr*>(&from), &length);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) {
            outcome = Outcome::Empty;
            break;
        }
        if (n < 0) return errno == ENOBUFS ? Outcome::Overrun : Outcome::Failed;
        if (from.nl_pid != sender_) continue;
        const auto size = static_cast<size_t>(n);  // as sent (MSG_TRUNC): more than was received if it didn't fit
        isCut = isCut || size > packet.size();
        forEachMessage({packet.data(), std::min(size, packet.size())}, [&](const nlmsghdr& message) {
            if (isWanted(message)) consumer(message);
        });
    }
    if (!isCut) return outcome;
    errno = EMSGSIZE;
    return Outcome::Overrun;
}

bool NetlinkSocket::waitForPacket() const {
    for (;;) {
        pollfd waiting{fd(), POLLIN, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(kTimeout.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) errno = ETIMEDOUT;
        return ready > 0;
    }
}

bool NetlinkSocket::receiveReply(const Consumer& consumer) const {
    bool isDone = false;
    int problem = 0;
    const auto look = [&](const nlmsghdr& message) {
        if ((message.nlmsg_flags & NLM_F_DUMP_INTR) != 0) problem = EINTR;
        if (message.nlmsg_type == NLMSG_DONE) {
            isDone = true;
        } else if (message.nlmsg_type == NLMSG_ERROR) {
            const auto* error = payload<nlmsgerr>(message);
            isDone = true;
            if (error == nullptr || error->error != 0) problem = error == nullptr ? EPROTO : -error->error;
        } else {
            consumer(message);
        }
    };
    while (!isDone) {
        if (!waitForPacket()) return false;
        const Outcome outcome = receive(1, look);
        if (outcome == Outcome::Overrun || outcome == Outcome::Failed) return false;
    }
    errno = problem;
    return problem == 0;
}

}  // namespace hostd
