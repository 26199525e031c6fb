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
/// accepted. It moves packets; what they mean is decided by the implementation of Events.
///
/// All operations are for the loop's thread. A connection that is lost is closed: nothing more can be
/// sent or received, but its ConnectionPtr stays valid.
class Connections {
  public:
    /// What is reported about connections. Each may use any operation of Connections.
    class Events {
      public:
        /// A connection to this number was made, and nothing has been sent on it yet.
        virtual void onDialled(uint32_t number, const ConnectionPtr& connection) = 0;
        virtual void onAccepted() = 0;
        /// The connection has a packet to receive, or its end. Called again from the loop until it is received.
        virtual void onReadable(const ConnectionPtr& connection) = 0;
        /// Notifications of these owners have left a queue: sent, or dropped with the connection. One entry for each.
        virtual void onNotificationsGone(const std::vector<Handler*>& owners) = 0;
        /// The connection has been closed, by us or its peer.
        virtual void onLost(const ConnectionPtr& connection) = 0;

      protected:
        ~Events() = default;
    };

    /// Both must outlive this object. To be closed before it is destroyed.
    Connections(ThinRunner& runner, Events& events);
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    [[nodiscard]] BusListeners& listeners() { return listeners_; }
    /// The connection that we dialled to this number, or nullptr.
    [[nodiscard]] ConnectionPtr find(uint32_t number) const;
    /// The connection to this number, made when there is none.
    /// @param timeout  for its owner to accept it; 0 doesn't wait
    /// @return nullptr when that fails: errno is set as by dialBus, or ECONNRESET when it was lost at once
    ConnectionPtr dial(uint32_t number, std::chrono::milliseconds timeout);
    /// The error reply for a number that can't be dialled, from errno. A process that listens logs each number once,
    /// until it is there again; the caller of a client sees the error itself.
    [[nodiscard]] message dialError(uint32_t number);

    /// Sends a packet, or queues it while the peer has no room.
    /// @return Yes: sent or queued. Blocked: the queue is full. Gone: the connection is lost, and now closed.
    Sent send(const ConnectionPtr& connection, flat_message packet);
    /// Sends a notification or queues it. One that doesn't fit into a packet is dropped with a line in the log; a peer
    /// whose queue is full is closed by the loop, with a line.
    /// @return true when the queue has one notification more: not sent yet, nor merged with an older one
    bool sendNotification(const ConnectionPtr& connection, NoteKey key, const message& notification);
    /// Sends what is queued, as far as there is room. A connection that turns out to be dead is lost.
    void flush(const ConnectionPtr& connection);
    /// Receives one packet, without waiting. False when there is none; a bad packet, with a line in the log, and the
    /// end of the connection close it.
    bool receive(const ConnectionPtr& connection, message& packet);
    /// Closes the connection; does nothing when it is closed.
    void lose(const ConnectionPtr& lost);

    /// From now on peers can't send on accepted connections: their attempts fail, so they try another process. What
    /// they have sent can still be received. @return the accepted connections
    [[nodiscard]] std::vector<ConnectionPtr> endReception();
    void close();  ///< loses all connections and gives up the listening sockets

    /// A connection waits to be accepted, or a packet on an accepted one to be received.
    [[nodiscard]] bool hasInput() const;
    /// Room for one packet of kMaxPacket octets, for receiving. Its contents are valid until the next packet.
    [[nodiscard]] std::span<uint8_t> buffer() const { return {buffer_.get(), kMaxPacket}; }

  private:
    void accept(Descriptor socket, gid_t group);
    [[nodiscard]] bool isFull(const BusPeer& peer) const;
    /// Logs the first refusal of a series.
    void refuse(const BusPeer& peer);
    /// Has the loop report what the connection needs now. Backpressure: an accepted connection isn't read while our
    /// replies to it are queued, so a caller that doesn't read delays only itself.
    void watch(const ConnectionPtr& connection);
    void onEvents(const ConnectionPtr& connection, unsigned events);
    /// Loses the connection from the loop: for calls in which the hooks of lost subscribers mustn't run.
    void loseSoon(const ConnectionPtr& connection);

    ThinRunner& runner_;
    Events& events_;
    BusListeners listeners_;
    std::map<uint32_t, ConnectionPtr> dialled_;
    std::unordered_map<int, ConnectionPtr> accepted_;  ///< by descriptor
    size_t restricted_ = 0;                            ///< accepted connections of callers without all rights
    bool isCrowdReported_ = false;
    std::set<uint32_t> absent_;          ///< numbers reported as having no owner
    std::unique_ptr<uint8_t[]> buffer_;  ///< its pages stay untouched until a packet is that large
};

}  // namespace tn
