#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <unordered_map>
#include <vector>

#include "tn/bus_listeners.h"
#include "tn/connection.h"
#include "tn/thin_runner.h"

namespace tn {

using ConnectionPtr = std::shared_ptr<Connection>;

/// The connections of this process to other processes: those that it dialled, one for each number, and those that it
/// accepted. This class moves packets; the implementation of Events decides what they mean.
///
/// All operations are for the loop's thread. A connection that is lost has been closed: nothing more can be sent or
/// received, but its ConnectionPtr stays valid.
class Connections {
  public:
    /// Callbacks about connections. Each may use any operation of Connections.
    class Events {
      public:
        /// A connection to this number has been opened. Nothing has been sent on it yet.
        virtual void onDialled(uint32_t number, const ConnectionPtr& connection) = 0;
        virtual void onAccepted() = 0;
        /// A packet, or the end of the connection, can be received. Called from the loop again until it has been
        /// received.
        virtual void onReadable(const ConnectionPtr& connection) = 0;
        /// Notifications have left a queue, sent or dropped with their connection.
        /// @param owners  one entry for each notification
        virtual void onNotificationsGone(const std::vector<Handler*>& owners) = 0;
        /// The connection has been closed, by us or by its peer.
        virtual void onLost(const ConnectionPtr& connection) = 0;

      protected:
        ~Events() = default;
    };

    /// Both arguments must outlive this object. close() must be called before it is destroyed.
    Connections(ThinRunner& runner, Events& events);
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    [[nodiscard]] BusListeners& listeners() { return listeners_; }
    /// The connection that we dialled to this number, or nullptr.
    [[nodiscard]] ConnectionPtr find(uint32_t number) const;
    /// The connection to this number, opened if there is none.
    /// @param timeout  for the number's process to accept it; 0 doesn't wait
    /// @return nullptr on failure, with errno set as by dialBus, or to ECONNRESET if the connection was lost at once
    ConnectionPtr dial(uint32_t number, std::chrono::milliseconds timeout);
    /// The error reply for a number that can't be dialled: error::TimedOut for EAGAIN in errno, else
    /// error::Unreachable. A process that listens logs an unreachable number once until it has been dialled again. A
    /// client (tnctl) doesn't log it: its user sees the error.
    [[nodiscard]] message dialError(uint32_t number);

    /// Sends a packet, or queues it while the peer has no room.
    /// @return Yes: sent or queued. Blocked: the queue is full. Gone: the connection is lost. TooLarge: see Sent. The
    /// packet is dropped unless the result is Yes.
    Sent send(const ConnectionPtr& connection, flat_message packet);
    /// Sends or queues replies, as send() does. May be called inside a handler, where hooks of lost subscribers mustn't
    /// run: unless the result is Yes or TooLarge, the loop closes the connection.
    Sent sendReplies(const ConnectionPtr& connection, flat_message packet);
    /// Sends or queues a notification. One that doesn't fit into a packet is logged and dropped. If the queue is full,
    /// that is logged and the loop closes the connection.
    /// @return true if the queue has grown by this notification: it was neither sent, merged nor dropped
    bool sendNotification(const ConnectionPtr& connection, NoteKey key, const message& notification);
    /// Sends queued packets until there is no more room. Closes the connection if its peer is gone.
    void flush(const ConnectionPtr& connection);
    /// Receives one packet, without waiting. False if there is none. A bad packet is logged and closes the connection.
    /// The end of the connection closes it, too.
    bool receive(const ConnectionPtr& connection, std::vector<message>& packet);
    /// Closes the connection; does nothing if it is closed.
    void lose(const ConnectionPtr& lost);

    /// Ends the reception on accepted connections. The peers' attempts to send fail from now on, so that they try
    /// another process. Packets that they have sent already can still be received. @return the accepted connections
    [[nodiscard]] std::vector<ConnectionPtr> endReception();
    void close();  ///< closes all connections and listening sockets

    /// Whether a connection waits to be accepted, or a packet on an accepted one to be received.
    [[nodiscard]] bool hasInput() const;
    /// The buffer for receiving, kMaxPacket octets. Its contents are valid until the next packet.
    [[nodiscard]] std::span<uint8_t> buffer() const { return {buffer_.get(), kMaxPacket}; }

  private:
    void accept(Descriptor socket, gid_t group);
    [[nodiscard]] bool isFull(const BusPeer& peer) const;
    /// Logs a refused connection, but only the first of a series.
    void refuse(const BusPeer& peer);
    /// Makes the loop watch for the events that the connection needs now. Backpressure: an accepted connection isn't
    /// read while our replies to it are queued, so a caller that doesn't read delays only itself.
    void watch(const ConnectionPtr& connection);
    void onEvents(const ConnectionPtr& connection, unsigned events);
    /// Sends or queues a packet. Leaves it to the caller to close the connection.
    Sent sendOrQueue(const ConnectionPtr& connection, flat_message packet);
    /// Closes the connection from the loop, for callers in which the hooks of lost subscribers mustn't run.
    void loseSoon(const ConnectionPtr& connection);

    ThinRunner& runner_;
    Events& events_;
    BusListeners listeners_;
    std::map<uint32_t, ConnectionPtr> dialled_;
    std::unordered_map<int, ConnectionPtr> accepted_;  ///< by descriptor
    size_t restricted_ = 0;                            ///< number of accepted connections without all rights
    bool isCrowdReported_ = false;
    std::set<uint32_t> absent_;          ///< unreachable numbers that have been logged
    std::unique_ptr<uint8_t[]> buffer_;  ///< uninitialised: pages that no packet reaches use no memory
};

}  // namespace tn
