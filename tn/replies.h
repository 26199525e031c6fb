#pragma once

#include <chrono>
#include <cstdint>

#include "tn/connections.h"

namespace tn {

/// The replies to the requests of one packet. They are sent in one packet, unless they are large, or one of the
/// requests takes long: those before it aren't delayed by more than a millisecond.
class Replies {
  public:
    /// @param connections  must outlive this object
    explicit Replies(Connections& connections) : connections_(connections) {}

    /// Adds a reply to a request from this connection. One that is too large for a packet is replaced by
    /// error::TooLarge. If the connection is closed, the reply is dropped.
    void add(const ConnectionPtr& to, uint32_t requestId, message reply);
    /// Sends the replies that were added. To be called after each packet, before this process waits, and before it
    /// sends a notification. If sending fails, the loop closes the connection.
    void send();

  private:
    Connections& connections_;
    ConnectionPtr to_;
    flat_message packet_;                ///< empty if there are no replies to send
    uint32_t lastRequest_ = 0;           ///< that was replied to
    std::chrono::milliseconds begun_{};  ///< time of the first reply, as sinceBoot
};

}  // namespace tn
