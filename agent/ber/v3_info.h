#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/ber/rules.h"
#include "agent/crypto/usm_crypto.h"

namespace snmp {

/// Security levels of a message and of a user (RFC 3414, 1.4).
namespace security_level {
constexpr uint32_t None = 0;
constexpr uint32_t Authorized = 1;  ///< authenticated
constexpr uint32_t Private = 2;     ///< authenticated and encrypted
}  // namespace security_level

constexpr uint32_t kUserSecurityModel = 3;  ///< msgSecurityModel of RFC 3414
constexpr char kAuthFlag = 1;               ///< bits of msgFlags (RFC 3412, 6.4)
constexpr char kPrivFlag = 2;
constexpr char kReportableFlag = 4;
constexpr uint32_t kLeastMaxSize = 484;  ///< octets; the lowest valid msgMaxSize (RFC 3412, 6)

/// The faults of v3 messages that are counted; most are reported to the sender. agent/security/v3_errors.h has the text
/// and the counter of each. Those from DecryptionError on are only found with --standard.
enum class V3Error : int {
    None = -1,
    UnsupportedLevel = 0,
    NotInTimeWindow = 1,
    UnknownUserName = 2,
    UnknownEngineId = 3,
    WrongDigest = 4,
    DecryptionError = 5,       // compat: 53
    UnknownSecurityModel = 6,  ///< dropped
    InvalidMessage = 7,        ///< dropped
    UnknownPduHandler = 8,     ///< no object of the engine contextEngineID is served here
    UnknownContext = 9,
};
constexpr size_t kV3Errors = 10;  ///< values of V3Error, None excluded

/// Header, security parameters and context of one v3 message (RFC 3412, 6; RFC 3414, 2.4), in the order of the message.
/// The agent changes a request's record into that of its reply.
struct V3Info {
    uint32_t msgID = 0;
    uint32_t msgMaxSize = 0;
    std::string msgFlags;  ///< only the first octet is used; not empty after UsmReader::readV3Info succeeded
    uint32_t msgSecurityModel = kUserSecurityModel;
    std::string msgAuthoritativeEngineID;
    uint32_t msgAuthoritativeEngineBoots = 0;
    uint32_t msgAuthoritativeEngineTime = 0;
    std::string msgUserName;
    std::string msgAuthenticationParameters;
    std::string msgPrivacyParameters;
    size_t authParamsPosition = 0;  ///< position of msgAuthenticationParameters in the message that was read
    std::string contextEngineID;
    std::string contextName;

    [[nodiscard]] CryptParameters cryptParameters() const {
        return {msgAuthoritativeEngineBoots, msgAuthoritativeEngineTime, msgPrivacyParameters};
    }
};

/// The agent as authoritative engine (RFC 3414, 2).
struct V3ServerInfo {
    V3ServerInfo();

    uint32_t engineBoots = 0;
    uint32_t startUptime;       ///< uptime of the machine in seconds when this object was created
    std::string engineId;       ///< empty until it is set
    bool strictDigest = false;  ///< --strict-usm
    const Rules* rules = &kFixedRules;

    /// Whether digests that don't have their protocol's length are rejected, and what isn't authenticated is neither
    /// decrypted nor answered with a signed Report.
    [[nodiscard]] bool isStrict() const { return strictDigest || rules->isUsmStandard; }
    [[nodiscard]] uint32_t engineTime() const;  ///< seconds since startUptime
    /// msgPrivacyParameters of the next message to send, 8 octets: boots, then a counter (RFC 3414, 8.1.1.1; RFC 3826,
    /// 3.1.2.1).
    [[nodiscard]] std::string nextSalt();

  private:
    uint32_t salts_;  ///< the counter
};

}  // namespace snmp
