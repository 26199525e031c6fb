#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tn/bus_socket.h"
#include "tn/merge_queue.h"
#include "tn/message.h"

namespace tn {

/// Result of an attempt to send a packet.
enum class Sent {
    Yes,
    Blocked,   ///< the kernel has no room, or other packets are queued; try again later
    Gone,      ///< the peer has closed the connection
    TooLarge,  ///< larger than kMaxPacket or the socket's buffer, or a message nested too deep to be flattened
};

/// Result of an attempt to receive a packet.
enum class Received {
    Packet,       ///< with at least one message
    Nothing,      ///< no packet has arrived, or none within the receive timeout
    Interrupted,  ///< by a signal
    Ended,        ///< the peer has closed the connection
    Unread,       ///< the peer closed it without reading our last packet (ECONNRESET); packets from it may follow
    Bad,          ///< the packet doesn't consist of messages, or is too large
};

/// One connection to another process, with a bounded queue of packets that wait for room. It neither logs nor closes
/// itself: Connections does.
class Connection {
  public:
    /// @param dialled  the number that we connected to; nullopt for a connection that we accepted
    Connection(Descriptor socket, BusPeer peer, std::optional<uint32_t> dialled)
        : socket_(std::move(socket)), peer_(peer), dialled_(dialled) {}

    [[nodiscard]] int fd() const { return socket_.get(); }
    [[nodiscard]] bool isClosed() const { return !socket_; }
    void close() { socket_.reset(); }
    [[nodiscard]] const BusPeer& peer() const { return peer_; }
    [[nodiscard]] const std::optional<uint32_t>& dialled() const { return dialled_; }

    /// Receives one packet.
    /// @param buffer  scratch space of kMaxPacket octets
    /// @param wait    true: waits until a packet arrives or the receive timeout passes
    /// @param out     the messages of the packet; for any result but Received::Packet it is empty or unchanged
    Received receive(std::span<uint8_t> buffer, bool wait, std::vector<message>& out);
    /// Size of the packet received last, in octets.
    [[nodiscard]] size_t lastPacket() const { return lastPacket_; }
    /// Sets how long receive waits, at least 1 ms: the kernel understands 0 as forever.
    void setReceiveTimeout(std::chrono::milliseconds timeout);

    /// Sends a packet at once or not at all. Never waits, and never overtakes a queued packet.
    [[nodiscard]] Sent sendInTurn(std::span<const uint8_t> packet) const;
    /// Queues a packet. False if the queue is full: the packet is dropped. The limit is 2,048 packets or 1 MiB; for a
    /// peer with all rights, 16,384 packets or 8 MiB.
    bool queue(flat_message packet);
    /// Queues a notification, or replaces an older one with it. False as above.
    /// @param merged  true if it replaced an older one; unchanged on failure
    bool queue(NoteKey key, flat_message packet, bool& merged);
    /// Sends queued packets until the kernel has no more room. A packet too large for the kernel is dropped.
    /// @param passed  the owner of each notification that has left the queue is appended
    /// @return Yes if the queue is empty; else Blocked or Gone
    Sent flush(std::vector<Handler*>& passed);
    [[nodiscard]] bool hasQueue() const { return !out_.empty(); }
    /// Empties the queue. @param dropped  as flush's `passed`
    void dropQueue(std::vector<Handler*>& dropped);

    // State of the connection's users.
    /// Exchange: a request found no room in time. None waits for room until one has been sent.
    bool stuck = false;
    bool doomed = false;         ///< Connections: the loop closes it soon
    unsigned watchedEvents = 0;  ///< Connections: epoll events that the loop watches the descriptor for

  private:
    [[nodiscard]] Sent send(std::span<const uint8_t> packet) const;
    [[nodiscard]] bool hasRoom(size_t octets) const;  ///< for one packet more in the queue

    Descriptor socket_;
    BusPeer peer_;
    std::optional<uint32_t> dialled_;
    std::chrono::milliseconds receiveTimeout_{};
    size_t lastPacket_ = 0;
    MergeQueue<flat_message> out_;
    size_t outOctets_ = 0;  ///< of all queued packets
};

}  // namespace tn
