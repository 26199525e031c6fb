#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace snmp {

/// The engine of an inform's receiver. It is the authoritative engine of informs (RFC 3414, 1.5.1): its id decides
/// their keys, and they carry its boots and time.
class RemoteEngine {
  public:
    /// Empty until it is discovered.
    [[nodiscard]] const std::string& id() const { return id_; }
    [[nodiscard]] uint32_t boots() const { return boots_; }
    /// Estimated from the last synchronization; 0 before the first.
    [[nodiscard]] uint32_t time(std::chrono::milliseconds now) const;

    /// The longest message that it accepts, in octets. No limit before it is discovered.
    [[nodiscard]] size_t maxSize() const { return maxSize_; }

    /// Accepts the id and the msgMaxSize of a Report (RFC 3414, 4). Another id than before makes boots and time
    /// unknown.
    /// @return false if it can't be an SnmpEngineID (RFC 3411)
    bool discover(const std::string& id, size_t maxSize);
    /// Accepts boots and time of an authenticated message (RFC 3414, 3.2, 7b).
    /// @return false if the message is older than the time window of 150 s allows
    bool synchronize(uint32_t boots, uint32_t time, std::chrono::milliseconds now);

  private:
    std::string id_;
    size_t maxSize_ = SIZE_MAX;
    uint32_t boots_ = 0;
    uint32_t latestTime_ = 0;                   ///< greatest time received with these boots
    std::chrono::milliseconds synchronized_{};  ///< when it was received
    bool isSynchronized_ = false;
};

}  // namespace snmp
