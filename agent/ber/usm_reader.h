#pragma once

#include <cstdint>
#include <vector>

#include "agent/ber/in_stream.h"
#include "agent/ber/v3_info.h"
#include "agent/crypto/usm_crypto.h"

namespace snmp {

/// The cursor over a received message, with what v3 adds (RFC 3412, 6; RFC 3414, 2.4): header, security parameters and
/// scoped PDU. The order is getVersion(), readV3Info(), decryptAndCheckSignature(); the cursor is then at the PDU, as
/// in a message of another version behind its community.
///
/// A fault that the peer is to learn of goes into an `error`, which keeps the first one found, and reading continues.
/// Functions return false for a message that can't be answered.
class UsmReader : public InStream {
  public:
    using InStream::InStream;

    /// Reads header and security parameters, behind the version. The flag for privacy without the one for
    /// authentication is UnsupportedLevel.
    /// @return false when they can't be read or msgFlags is empty
    bool readV3Info(V3Error& error);
    /// Decrypts the scoped PDU when the message says that it is encrypted, reads its context, and checks engine, time
    /// and digest (RFC 3414, 3.2). A strict server decrypts only authenticated messages; others stay sealed. The record
    /// becomes that of the reply: the agent's engine id where another was named, the agent's boots and time, a new
    /// salt.
    /// @param keys  the user's; empty for a user that isn't known
    /// @return false when it can't be decrypted or has no scoped PDU. The message is then again as it was received
    bool decryptAndCheckSignature(V3Error& error, const UserKeys& keys, V3ServerInfo& server);
    /// Makes the record that of a message without authentication and privacy.
    void clearAuthPrivInfo();

    // What the last message read as v3 was.

    [[nodiscard]] const V3Info& v3Info() const { return v3_; }
    /// What its flags claim, one of security_level.
    [[nodiscard]] uint32_t securityLevel() const { return level_; }
    /// Whether its digest was right.
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
    std::vector<uint8_t> received_;  ///< the message as it came, while data_ has the plaintext in it
};

}  // namespace snmp
