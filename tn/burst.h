#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tn/message.h"

namespace tn {

/// The requests that Exchange sends in one run, and their replies as they arrive.
class Burst {
  public:
    using Time = std::chrono::milliseconds;  ///< as sinceBoot

    /// One request and its reply, if there is one yet.
    struct Call {
        message request;
        std::optional<message> reply;
        bool isSent = false;
    };

    /// @param number    first element of all destinations
    /// @param requests  with their request ids
    Burst(uint32_t number, std::vector<message> requests, Time deadline);

    [[nodiscard]] uint32_t number() const { return number_; }
    [[nodiscard]] Time deadline() const { return deadline_; }
    [[nodiscard]] size_t outstanding() const { return outstanding_; }  ///< sent requests without a reply

    // A call is valid as long as the burst.

    [[nodiscard]] Call* nextToSend();  ///< null if all are sent or have a reply
    /// The call to which a packet is the reply; null for any other packet.
    [[nodiscard]] Call* answeredBy(const message& packet);
    /// The request sent last of those without a reply, of which there must be one. Its reply is the last to come.
    [[nodiscard]] const Call& lastOutstanding() const;

    void markSent(Call& call);
    void answer(Call& call, message reply);
    void takeBackSent();  ///< marks the sent requests without a reply as not sent
    /// Answers every call that has no reply with an error, or only those that are sent.
    void failAll(const message& error);
    void failSent(const message& error);

    /// Moves the replies out, in the order of the requests. Each must have one.
    [[nodiscard]] std::vector<message> replies();

  private:
    uint32_t number_;
    std::vector<Call> calls_;
    Time deadline_;
    size_t outstanding_ = 0;
};

}  // namespace tn
