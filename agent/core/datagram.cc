#include "agent/core/datagram.h"

#include "agent/ber/tags.h"

namespace snmp {

namespace {
// One buffer for the process: each request is copied before the next one is received.
std::array<uint8_t, kMaxDatagram> c_buf;
}  // namespace

bool Datagram::receive(int fd) {
    iovec content{c_buf.data(), c_buf.size()};
    header_.msg_name = &peer_;
    header_.msg_namelen = sizeof peer_;
    header_.msg_iov = &content;
    header_.msg_iovlen = 1;
    header_.msg_control = ancillary_.data();
    header_.msg_controllen = ancillary_.size();
    const ssize_t received = recvmsg(fd, &header_, MSG_DONTWAIT);
    if (received < 0) return false;
    size_ = static_cast<size_t>(received);
    return true;
}

void Datagram::answer(int fd, std::span<const uint8_t> reply) {
    iovec content{const_cast<uint8_t*>(reply.data()), reply.size()};
    header_.msg_iov = &content;
    header_.msg_flags = 0;
    (void)sendmsg(fd, &header_, MSG_DONTWAIT);
}

std::span<const uint8_t> Datagram::bytes() const { return {c_buf.data(), size_}; }

}  // namespace snmp
