#pragma once

#include <functional>

#include "tn/connections.h"
#include "tn/merge_queue.h"

namespace tn {

/// Packets that arrived while an exchange waited for its reply. The loop delivers them in the order of arrival, before
/// any packet that it reads itself. Bounded: 16,384 packets and 16 MiB, of all peers together.
class Backlog {
  public:
    using Deliver = std::function<void(const ConnectionPtr& from, message& packet)>;

    /// @param runner   its loop delivers; must outlive this object
    /// @param deliver  may start exchanges, and so add packets: those wait for the next round of the loop
    Backlog(ThinRunner& runner, Deliver deliver) : runner_(runner), deliver_(std::move(deliver)) {}

    /// Adds a packet. Past kMergeBeyond packets a notification replaces the newest one about the same object.
    /// @param octets  size of the packet when it was received
    /// @return false, the packet dropped, when the limit is reached
    [[nodiscard]] bool add(const ConnectionPtr& from, message content, size_t octets);
    /// Delivers the packets that are there now.
    void deliver();
    /// Nothing waits to be delivered.
    [[nodiscard]] bool empty() const { return packets_.empty(); }
    void clear();  ///< drops all packets

  private:
    struct Packet {
        ConnectionPtr from;
        message content;
        size_t octets = 0;
    };

    /// Has the loop call deliver().
    void deliverSoon();

    ThinRunner& runner_;
    Deliver deliver_;
    MergeQueue<Packet> packets_;
    size_t octets_ = 0;  ///< of all packets
};

}  // namespace tn
