#pragma once

#include "agent/ber/out_stream.h"
#include "agent/ber/v3_info.h"
#include "agent/crypto/usm_crypto.h"

namespace snmp {

/// The builder of a message, with what v3 adds (RFC 3412, 6; RFC 3414, 2.4). The order is the version, writeV3Info(),
/// the PDU, cryptPacket(), the message closed, signPacket(). A message of which the last two return false must not be
/// sent.
class UsmWriter : public OutStream {
  public:
    /// Writes header and security parameters and opens the scoped PDU. Zeros stand for the digest.
    /// @param level  what is then done to the message, one of security_level
    void writeV3Info(const V3Info& info, uint32_t level);
    /// Closes the scoped PDU and, at the level Private, encrypts it with the record's salt.
    /// @return false when there is no key to do so
    [[nodiscard]] bool cryptPacket(const V3Info& info, const UserKeys& keys);
    /// Puts the digest into a message from the level Authorized on, as much of it as the record's authentication
    /// parameters have octets.
    /// @return false when there is no key to do so
    [[nodiscard]] bool signPacket(const V3Info& info, const UserKeys& keys);

  private:
    uint32_t level_ = security_level::None;
    size_t scopedPduPos_ = 0;  ///< tag of the scoped PDU
};

}  // namespace snmp
