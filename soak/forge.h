#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "agent/crypto/usm_crypto.h"
#include "wire/manager.h"

namespace soak {

/// A datagram with one fault.
struct Forged {
    wire::Bytes octets;
    std::string what;  ///< for people: "v2c, GetBulk: request id: longer than its content"
};

/// Makes SNMP messages with one fault each: any field of v1, v2c or v3 with a wrong tag, length or value, cut off, too
/// large, twice or missing. Everything else is valid, so that the fault is what a receiver finds. Messages of an
/// authenticated user are encrypted and signed around the fault: it follows a valid digest. The same seed and number
/// give the same datagram.
class Forge {
  public:
    /// Versions of the messages: their number in the message (0, 1 and 3).
    struct Options {
        uint64_t seed = 0;
        std::vector<uint32_t> versions = {0, 1};
        std::string community = "common";
        std::optional<wire::Manager> user = {};  ///< of v3, with the engine's id, boots and time
    };
    /// Throws std::invalid_argument for v3 without a user.
    explicit Forge(Options options);

    /// The datagram with this number.
    [[nodiscard]] Forged make(uint64_t number) const;

    /// The v3 engine's time, in seconds: it must be within 150 s of the engine's.
    void setTime(uint32_t seconds) { options_.user->time = seconds; }

  private:
    class Maker;

    Options options_;
    snmp::UserKeys keys_;
};

}  // namespace soak
