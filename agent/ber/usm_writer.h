#pragma once

#include "agent/ber/out_stream.h"
#include "agent/ber/v3_info.h"
#include "agent/crypto/usm_crypto.h"

namespace snmp {

/// The builder of a message, with the parts that v3 adds (RFC 3412, 6; RFC 3414, 2.4). The order of calls: open the
/// message and write the version, writeV3Info(), write the PDU, cryptPacket(), close the message, signPacket(). If
/// cryptPacket() or signPacket() returns false, the message must not be sent.
class UsmWriter : public OutStream {
  public:
    /// Writes header and security parameters, with zeros in place of the digest, and opens the scoped PDU.
    /// @param level  one of security_level: decides what cryptPacket() and signPacket() do
    void writeV3Info(const V3Info& info, uint32_t level);
    /// Closes the scoped PDU. At the level Private, encrypts it with boots, time and salt of `info`.
    /// @return false if the key or the salt is missing; the message is then incomplete
    [[nodiscard]] bool cryptPacket(const V3Info& info, const UserKeys& keys);
    /// At the levels Authorized and Private, writes the digest, cut to the size of info.msgAuthenticationParameters.
    /// @return false if the key is missing
    [[nodiscard]] bool signPacket(const V3Info& info, const UserKeys& keys);

  private:
    uint32_t level_ = security_level::None;
    size_t scopedPduPos_ = 0;  ///< position of the scoped PDU's tag
};

}  // namespace snmp
