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
    /// the authentication bit, `error` is UnsupportedLevel; with Rules::isHeaderStandard such a message is invalid.
    /// @return false if they can't be read, msgFlags is empty, or the header is invalid; `error` then says why if that
    ///         is counted
    bool readV3Info(V3Error& error, const Rules& rules = kFixedRules);
    /// Checks whether the message names the agent's engine. decryptAndCheckSignature does so as well, later.
    void checkEngine(V3Error& error, const V3ServerInfo& server);
    /// Decrypts the scoped PDU if msgFlags says that it is encrypted, reads its context, and checks engine id, time and
    /// digest (RFC 3414, 3.2). A strict server (V3ServerInfo::isStrict) doesn't decrypt an unauthenticated message:
    /// that stays sealed, and the cursor is then not at its PDU. With Rules::isUsmStandard, a message with any fault
    /// stays sealed, also one that can't be decrypted. Afterwards v3Info() is the header of the reply: with the
    /// agent's engine id, boots and time, with a new salt if the request is encrypted, and with digest octets of the
    /// size that the user's protocol has. With MD5 and SHA-1 these are as many as in the request.
    /// @param keys  of the user; empty for an unknown user
    /// @return false if the message can't be decrypted or has no scoped PDU; bytes() is then the message as received
    bool decryptAndCheckSignature(V3Error& error, const UserKeys& keys, V3ServerInfo& server);
    /// Checks the digest of a message whose sender is the authoritative engine, decrypts it, and reads its context. The
    /// caller checks engine id and time.
    /// @param keys  of the user, localised to that engine; not used if the message isn't authenticated
    /// @return false if the message isn't what msgFlags says
    bool openReply(const UserKeys& keys);
    /// Clears the parameters of v3Info() that a message of this level doesn't have, and their bits in msgFlags.
    void lowerTo(uint32_t level);
    /// lowerTo(None).
    void clearAuthPrivInfo();

    // The last message that readV3Info read.

    [[nodiscard]] const V3Info& v3Info() const { return v3_; }
    /// The level that msgFlags claims, one of security_level.
    [[nodiscard]] uint32_t securityLevel() const { return level_; }
    /// Whether its digest was right; false before decryptAndCheckSignature.
    [[nodiscard]] bool isAuthenticated() const { return isAuthenticated_; }
    /// Whether its PDU is still encrypted.
    [[nodiscard]] bool isSealed() const { return isSealed_; }
    /// Whether it may be answered with a Report, although its PDU can't be read (RFC 3412, 6.4).
    [[nodiscard]] bool isReportable() const { return isReportable_; }

  private:
    bool readHeader();
    [[nodiscard]] bool isHeaderValid(V3Error& error) const;
    bool readSecurityParameters();
    bool openThenCheck(V3Error& error, const UserKeys& keys, const V3ServerInfo& server);
    bool checkThenOpen(V3Error& error, const UserKeys& keys, const V3ServerInfo& server);
    bool openScopedPdu(const UserKeys& keys, bool isSequenceRequired);
    void seal(const V3ServerInfo& server);
    bool decrypt(const UserKeys& keys);
    bool readContext();
    [[nodiscard]] bool isSigned(const UserKeys& keys, bool wholeDigest) const;
    void checkTimeAndDigest(V3Error& error, const UserKeys& keys, const V3ServerInfo& server) const;

    V3Info v3_;
    uint32_t level_ = security_level::None;
    bool isAuthenticated_ = false;
    bool isSealed_ = false;
    bool isReportable_ = false;
    std::vector<uint8_t> received_;  ///< the message as received, while data_ contains the plaintext
};

}  // namespace snmp
