#pragma once

#include <cstdint>
#include <vector>

#include "agent/ber/in_stream.h"
#include "agent/ber/v3_info.h"
#include "agent/crypto/usm_crypto.h"

namespace snmp {

/// The cursor over a received message, with the parts that v3 adds (RFC 3412, 6; RFC 3414, 2.4): header, security
/// parameters and scoped PDU. Call getVersion(), readV3Info() and decryptAndCheckSignature() in this order. The cursor
/// is then at the PDU, as it is in the other versions after the community.
///
/// A fault that is reported to the peer is stored in `error`, unless one is there already, and reading continues. A
/// function returns false if the message can't be answered at all.
class UsmReader : public InStream {
  public:
    using InStream::InStream;

    /// Reads the header and the security parameters, which follow the version. If msgFlags has the privacy bit without
    /// the authentication bit, `error` is UnsupportedLevel.
    /// @return false if they can't be read or msgFlags is empty
    bool readV3Info(V3Error& error);
    /// Decrypts the scoped PDU if msgFlags says that it is encrypted, reads its context, and checks engine id, time and
    /// digest (RFC 3414, 3.2). A strict server (V3ServerInfo::strictDigest) doesn't decrypt an unauthenticated message:
    /// that stays sealed, and the cursor stays before its PDU. Afterwards v3Info() is the header of the reply: with the
    /// agent's engine id, boots and time, with a new salt if the request is encrypted, and with digest octets of the
    /// size that the user's protocol has. With MD5 and SHA-1 these are as many as in the request.
    /// @param keys  of the user; empty for an unknown user
    /// @return false if the message can't be decrypted or has no scoped PDU; bytes() is then the message as received
    bool decryptAndCheckSignature(V3Error& error, const UserKeys& keys, V3ServerInfo& server);
    /// Clears the authentication and privacy parameters of v3Info(), and their bits in msgFlags.
    void clearAuthPrivInfo();

    // The last message that readV3Info read.

    [[nodiscard]] const V3Info& v3Info() const { return v3_; }
    /// The level that msgFlags claims, one of security_level.
    [[nodiscard]] uint32_t securityLevel() const { return level_; }
    /// Whether its digest was right; false before decryptAndCheckSignature.
    [[nodiscard]] bool isAuthenticated() const { return isAuthenticated_; }
    /// Whether its PDU is still encrypted.
    [[nodiscard]] bool isSealed() const { return isSealed_; }

  private:
    bool readHeader();
    bool readSecurityParameters();
    bool openScopedPdu(const UserKeys& keys);
    bool decrypt(const UserKeys& keys);
    bool readContext();
    [[nodiscard]] bool isSigned(const UserKeys& keys, bool wholeDigest) const;
    void checkEngine(V3Error& error, const V3ServerInfo& server);
    void checkTimeAndDigest(V3Error& error, const UserKeys& keys, const V3ServerInfo& server) const;

    V3Info v3_;
    uint32_t level_ = security_level::None;
    bool isAuthenticated_ = false;
    bool isSealed_ = false;
    std::vector<uint8_t> received_;  ///< the message as received, while data_ contains the plaintext
};

}  // namespace snmp
