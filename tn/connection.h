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

enum class Sent { Yes, Blocked, Gone, TooLarge };
enum class Received { Packet, Nothing, Interrupted, Ended, Unread, Bad };

/// One connection to another process: packets in, packets out, and what waits to go out. It knows nothing of handlers;
/// the bus decides what a packet means.
class Connection {
  public:
    /// @param dialled  number we connected to; nothing for a connection that we accepted
    Connection(Descriptor socket, BusPeer peer, std::optional<uint32_t> dialled)
        : socket_(std::move(socket)), peer_(peer), dialled_(dialled) {}

    [[nodiscard]] int fd() const { return socket_.get(); }
    [[nodiscard]] bool isClosed() const { return !socket_; }
    void close() { socket_.reset(); }
    [[nodiscard]] const BusPeer& peer() const { return peer_; }
    [[nodiscard]] const std::optional<uint32_t>& dialled() const { return dialled_; }

    /// Takes one packet. Unread: the peer closed the connection without having read what we sent last (a Unix socket
    /// tells so with ECONNRESET). Nothing: none there, or the receive time-out passed.
    /// @param buffer  kMaxPacket octets
    Received receive(std::span<uint8_t> buffer, bool wait, message& out);
    [[nodiscard]] size_t lastPacket() const { return lastPacket_; }  ///< octets of the packet received last
    /// How long receive waits at most; at least a millisecond.
    void setReceiveTimeout(std::chrono::milliseconds timeout);

    /// Sends at once or not at all: never waits, and never overtakes what is queued.
    [[nodiscard]] Sent sendInTurn(std::span<const uint8_t> packet) const;
    /// Lines a packet up. False when the queue is full: the peer doesn't read.
    bool queue(flat_message packet);
    /// Lines a notification up. @param merged  set when it took the place of an older one
    bool queue(NoteKey key, flat_message packet, bool& merged);
    /// Sends what is lined up until the kernel takes no more. Owners of notifications that left are appended to
    /// `passed`.
    Sent flush(std::vector<Handler*>& passed);
    [[nodiscard]] bool hasQueue() const { return !out_.empty(); }
    /// Throws the queue away; owners as for flush.
    void dropQueue(std::vector<Handler*>& dropped);

    bool stuck = false;   ///< a request couldn't be sent in time: don't wait for room again until one gets through
    bool doomed = false;  ///< to be closed by the loop
    unsigned watchedEvents = 0;  ///< what the loop watches the descriptor for

  private:
    [[nodiscard]] Sent send(std::span<const uint8_t> packet) const;
    [[nodiscard]] bool hasRoom(size_t octets) const;  ///< in the queue

    Descriptor socket_;
    BusPeer peer_;
    std::optional<uint32_t> dialled_;
    std::chrono::milliseconds receiveTimeout_{};
    size_t lastPacket_ = 0;
    MergeQueue<flat_message> out_;
    size_t outOctets_ = 0;
};

}  // namespace tn
