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

    /// @param runner   its loop delivers the packets; must outlive this object
    /// @param deliver  called for each packet. It may start exchanges; packets that these add wait for the loop's next
    ///                 round
    Backlog(ThinRunner& runner, Deliver deliver) : runner_(runner), deliver_(std::move(deliver)) {}

    /// Adds a packet. From kMergeBeyond packets on, a notification replaces the newest one about the same object.
    /// @param octets  size of the packet as received
    /// @return false if the limit is reached; the packet is dropped
    [[nodiscard]] bool add(const ConnectionPtr& from, message content, size_t octets);
    /// Delivers the packets that are queued now, not those that are added meanwhile.
    void deliver();
    /// Whether no packet waits to be delivered.
    [[nodiscard]] bool empty() const { return packets_.empty(); }
    void clear();  ///< drops all packets

  private:
    struct Packet {
        ConnectionPtr from;
        message content;
        size_t octets = 0;
    };

    /// Schedules deliver() on the loop.
    void deliverSoon();

    ThinRunner& runner_;
    Deliver deliver_;
    MergeQueue<Packet> packets_;
    size_t octets_ = 0;  ///< of all packets
};

}  // namespace tn
