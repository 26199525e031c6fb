#include "agent/core/datagram.h"

#include <algorithm>

#include "agent/ber/tags.h"

namespace snmp {

namespace {
// One set of buffers for the process. Each request is copied before its reply takes the buffer. The kernel provides a
// page when it is first used, so those of the later buffers cost nothing until that many datagrams wait.
std::array<std::array<uint8_t, kMaxDatagram>, Datagrams::kMax> c_bufs;
}  // namespace

Datagrams::Datagrams() {
    for (size_t i = 0; i < kMax; ++i) {
        msghdr& header = requests_[i].msg_hdr;
        header.msg_name = &slots_[i].peer;
        header.msg_iov = &slots_[i].content;
        header.msg_iovlen = 1;
        header.msg_control = slots_[i].ancillary.data();
    }
}

void Datagrams::receive(int fd) {
    for (size_t i = 0; i < kMax; ++i) {
        slots_[i].content = {c_bufs[i].data(), c_bufs[i].size()};
        requests_[i].msg_hdr.msg_namelen = sizeof slots_[i].peer;
        requests_[i].msg_hdr.msg_controllen = slots_[i].ancillary.size();
    }
    const int received = recvmmsg(fd, requests_.data(), kMax, MSG_DONTWAIT, nullptr);
    received_ = received > 0 ? static_cast<size_t>(received) : 0;
    next_ = 0;
}

bool Datagrams::next() {
    if (!hasNext()) return false;
    ++next_;
    return true;
}

std::span<const uint8_t> Datagrams::bytes(size_t ahead) const {
    const size_t at = next_ - 1 + ahead;
    return std::span(c_bufs[at]).first(requests_[at].msg_len);
}

void Datagrams::answer(std::span<const uint8_t> reply) {
    if (reply.size() > kMaxDatagram) return;
    std::ranges::copy(reply, c_bufs[next_ - 1].begin());
    slots_[next_ - 1].content.iov_len = reply.size();
    replies_[answered_++].msg_hdr = requests_[next_ - 1].msg_hdr;
}

void Datagrams::send(int fd) {
    for (size_t done = 0; done < answered_;) {
        // Stops at the first reply that can't be sent. If that is the first of the call, it fails.
        const int sent = sendmmsg(fd, &replies_[done], static_cast<unsigned>(answered_ - done), MSG_DONTWAIT);
        done += sent > 0 ? static_cast<size_t>(sent) : 1;
    }
    answered_ = 0;
}

}  // namespace snmp
