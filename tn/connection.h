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
    Blocked,   ///< no room, in the kernel or behind what is queued; try again later
    Gone,      ///< the peer has closed the connection
    TooLarge,  ///< larger than a packet, or a message nested too deep to be one
};

/// Result of an attempt to receive a packet.
enum class Received {
    Packet,
    Nothing,      ///< none has arrived, or the receive timeout has passed
    Interrupted,  ///< by a signal
    Ended,        ///< the peer has closed the connection
    Unread,       ///< the peer has closed it without reading what we sent last (ECONNRESET); packets may still follow
    Bad,          ///< the packet isn't a message, or too large
};

/// One connection to another process: packets in, packets out, and a bounded queue of those that wait for room. It
/// neither logs nor closes itself: Connections does.
class Connection {
  public:
    /// @param dialled  number that we connected to; nothing for a connection that we accepted
    Connection(Descriptor socket, BusPeer peer, std::optional<uint32_t> dialled)
        : socket_(std::move(socket)), peer_(peer), dialled_(dialled) {}

    [[nodiscard]] int fd() const { return socket_.get(); }
    [[nodiscard]] bool isClosed() const { return !socket_; }
    void close() { socket_.reset(); }
    [[nodiscard]] const BusPeer& peer() const { return peer_; }
    [[nodiscard]] const std::optional<uint32_t>& dialled() const { return dialled_; }

    /// Receives one packet.
    /// @param buffer  kMaxPacket octets
    /// @param wait    until one arrives or the receive timeout passes
    /// @param out     the packet; empty or unchanged for any other result
    Received receive(std::span<uint8_t> buffer, bool wait, message& out);
    /// Octets of the packet received last.
    [[nodiscard]] size_t lastPacket() const { return lastPacket_; }
    /// Sets how long receive waits. A timeout below a millisecond counts as one: 0 would mean for ever.
    void setReceiveTimeout(std::chrono::milliseconds timeout);

    /// Sends at once or not at all: never waits, and never overtakes what is queued.
    [[nodiscard]] Sent sendInTurn(std::span<const uint8_t> packet) const;
    /// Queues a packet. False, the packet dropped, when the queue is full: 2,048 packets or 1 MiB; for a peer with all
    /// rights 16,384 packets or 8 MiB.
    bool queue(flat_message packet);
    /// Queues a notification, or merges it with an older one. False as above.
    /// @param merged  whether it replaced an older one
    bool queue(NoteKey key, flat_message packet, bool& merged);
    /// Sends what is queued until the kernel has no more room.
    /// @param passed  owners of notifications that have left the queue are appended, one entry for each notification
    /// @return Yes when the queue is empty; else Blocked or Gone
    Sent flush(std::vector<Handler*>& passed);
    [[nodiscard]] bool hasQueue() const { return !out_.empty(); }
    /// Empties the queue. @param dropped  as flush's `passed`
    void dropQueue(std::vector<Handler*>& dropped);

    // State of those who use the connection.
    bool stuck = false;   ///< Exchange: a request found no room in time; it doesn't wait again until one gets through
    bool doomed = false;  ///< Connections: to be closed by the loop
    unsigned watchedEvents = 0;  ///< Connections: epoll events that the loop watches the descriptor for

  private:
    [[nodiscard]] Sent send(std::span<const uint8_t> packet) const;
    [[nodiscard]] bool hasRoom(size_t octets) const;  ///< in the queue

    Descriptor socket_;
    BusPeer peer_;
    std::optional<uint32_t> dialled_;
    std::chrono::milliseconds receiveTimeout_{};
    size_t lastPacket_ = 0;
    MergeQueue<flat_message> out_;
    size_t outOctets_ = 0;  ///< of all queued packets
};

}  // namespace tn
