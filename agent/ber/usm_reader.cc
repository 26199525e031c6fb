#include "agent/ber/usm_reader.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "agent/ber/tags.h"

namespace snmp {

namespace {

/// Stores the first fault found, which is the one reported.
void report(V3Error& error, V3Error what) {
    if (error == V3Error::None) error = what;
}

bool takesAnyDigestSize(const UserKeys& keys) {
    const AuthenticationProtocol* const protocol = authenticationProtocol(keys.method);
    return protocol != nullptr && protocol->takesAnySize;
}

}  // namespace

bool UsmReader::readV3Info(V3Error& error, const Rules& rules) {
    level_ = security_level::None;
    isAuthenticated_ = isSealed_ = false;
    if (!readHeader() || v3_.msgFlags.empty()) return false;
    if (rules.isHeaderStandard && !isHeaderValid(error)) return false;
    if (!readSecurityParameters()) return false;

    isReportable_ = (v3_.msgFlags[0] & kReportableFlag) != 0;

    const bool authenticated = (v3_.msgFlags[0] & kAuthFlag) != 0;
    const bool encrypted = (v3_.msgFlags[0] & kPrivFlag) != 0;
    if (authenticated) level_ = encrypted ? security_level::Private : security_level::Authorized;
    if (encrypted && !authenticated) report(error, V3Error::UnsupportedLevel);  // compat: 54
    return true;
}

bool UsmReader::readHeader() {
    if (enterSeq() < 0 || !getInt(&v3_.msgID) || !getInt(&v3_.msgMaxSize) || !getString(&v3_.msgFlags) ||
        !getInt(&v3_.msgSecurityModel)) {  // compat: 55
        return false;
    }
    exitSeq();
    return true;
}

bool UsmReader::isHeaderValid(V3Error& error) const {
    const bool isPrivateOnly = (v3_.msgFlags[0] & (kAuthFlag | kPrivFlag)) == kPrivFlag;
    if (v3_.msgSecurityModel != kUserSecurityModel) {
        report(error, V3Error::UnknownSecurityModel);
    } else if (isPrivateOnly || v3_.msgMaxSize < kLeastMaxSize || v3_.msgMaxSize > INT32_MAX) {
        report(error, V3Error::InvalidMessage);
    }
    return error == V3Error::None;
}

bool UsmReader::readSecurityParameters() {
    if (enterSeq() < 0 || enterSeq() < 0 || !getString(&v3_.msgAuthoritativeEngineID) ||
        !getInt(&v3_.msgAuthoritativeEngineBoots) || !getInt(&v3_.msgAuthoritativeEngineTime) ||
        !getString(&v3_.msgUserName) || !getString(&v3_.msgAuthenticationParameters)) {
        return false;
    }
    v3_.authParamsPosition = pos_ - v3_.msgAuthenticationParameters.size();
    if (!getString(&v3_.msgPrivacyParameters)) return false;
    const size_t end = pos_;
    exitSeq();
    exitSeq();
    return end <= pos_;  // the parameters must end inside their OCTET STRING
}

bool UsmReader::decryptAndCheckSignature(V3Error& error, const UserKeys& keys, V3ServerInfo& server) {
    received_.clear();
    isAuthenticated_ = level_ != security_level::None && isSigned(keys, server.isStrict());
    const bool isRead =
        server.rules->isUsmStandard ? checkThenOpen(error, keys, server) : openThenCheck(error, keys, server);
    if (!isRead) return false;
    if (level_ != security_level::None && !takesAnyDigestSize(keys)) {
        v3_.msgAuthenticationParameters.assign(sentDigestSize(keys.method), '\0');
    }
    if (level_ == security_level::Private) v3_.msgPrivacyParameters = server.nextSalt();
    v3_.msgAuthoritativeEngineBoots = server.engineBoots;
    v3_.msgAuthoritativeEngineTime = server.engineTime();
    if (server.rules->isHeaderStandard) {
        v3_.msgMaxSize = kMaxMessage;
        v3_.msgFlags[0] = static_cast<char>(v3_.msgFlags[0] & ~kReportableFlag);
    }
    return true;
}

// compat: 50
bool UsmReader::openThenCheck(V3Error& error, const UserKeys& keys, const V3ServerInfo& server) {
    if (level_ == security_level::Private && server.strictDigest && !isAuthenticated_) {
        seal(server);
    } else if (!openScopedPdu(keys, false)) {
        return false;
    }
    checkEngine(error, server);
    if (level_ != security_level::None) checkTimeAndDigest(error, keys, server);
    return true;
}

bool UsmReader::checkThenOpen(V3Error& error, const UserKeys& keys, const V3ServerInfo& server) {
    checkEngine(error, server);
    if (level_ != security_level::None) checkTimeAndDigest(error, keys, server);
    const bool isEncrypted = level_ == security_level::Private;
    const bool isRefused = isEncrypted && error != V3Error::None;
    if (!isRefused && openScopedPdu(keys, isEncrypted)) return true;
    if (!isEncrypted) return false;
    report(error, V3Error::DecryptionError);
    seal(server);
    return true;
}

/// Leaves the PDU encrypted. The context of a Report about it is the agent's (RFC 3412, 7.1).
void UsmReader::seal(const V3ServerInfo& server) {
    isSealed_ = true;
    v3_.contextEngineID = server.engineId;
    v3_.contextName.clear();
}

bool UsmReader::openReply(const UserKeys& keys) {
    received_.clear();
    isAuthenticated_ = level_ != security_level::None && isSigned(keys, true);
    return (isAuthenticated_ || level_ == security_level::None) &&
           openScopedPdu(keys, level_ == security_level::Private);
}

/// @param isSequenceRequired  tells what was decrypted with another password or protocol, which is random, from a
///                            scoped PDU
bool UsmReader::openScopedPdu(const UserKeys& keys, bool isSequenceRequired) {
    if (level_ == security_level::Private && !decrypt(keys)) return false;
    if ((!isSequenceRequired || getType() == tag::Sequence) && readContext()) return true;
    if (!received_.empty()) {
        data_.swap(received_);
        size_ = data_.size();
    }
    return false;
}

// Replaces the ciphertext by the plaintext and ends the message there: unencrypted octets after it must not be read.
bool UsmReader::decrypt(const UserKeys& keys) {
    const int length = contentLen("get string overflow of message");
    if (length < 0) return false;
    received_.assign(data_.begin(), data_.begin() + static_cast<std::ptrdiff_t>(size_));
    const auto text = std::span(data_).subspan(pos_, static_cast<size_t>(length));
    if (!cryptMessage(keys, v3_.cryptParameters(), text, false)) return false;
    size_ = pos_ + text.size();
    for (size_t& end : seqEnds_) end = std::min(end, size_);
    return true;
}

bool UsmReader::readContext() {
    return enterSeq() >= 0 && getString(&v3_.contextEngineID) && getString(&v3_.contextName);
}

void UsmReader::checkEngine(V3Error& error, const V3ServerInfo& server) {
    if (v3_.msgAuthoritativeEngineID == server.engineId) return;
    report(error, V3Error::UnknownEngineId);
    v3_.msgAuthoritativeEngineID = server.engineId;
    v3_.contextEngineID = server.engineId;
}

// Checks the time before the digest (compat: 49). A strict server checks the time last, so that only authenticated
// messages get a Report about it.
void UsmReader::checkTimeAndDigest(V3Error& error, const UserKeys& keys, const V3ServerInfo& server) const {
    // The differences are unsigned: each is huge if the other time is ahead.
    const uint32_t age = server.engineTime() - v3_.msgAuthoritativeEngineTime;
    const Rules& rules = *server.rules;
    const bool isInWindow = age <= rules.timeWindow || (rules.isWindowInBothDirections && -age <= rules.timeWindow);
    const bool isTimely = isInWindow && server.engineBoots == v3_.msgAuthoritativeEngineBoots;
    if (!isTimely && !server.isStrict()) report(error, V3Error::NotInTimeWindow);
    if (keys.digest.empty()) report(error, V3Error::UnknownUserName);
    if (!isAuthenticated_) report(error, V3Error::WrongDigest);
    if (!isTimely) report(error, V3Error::NotInTimeWindow);
}

// compat: 48. With MD5 and SHA-1, a field that doesn't have the 12 octets of HMAC-96 is compared over its own length,
// at most that of the digest: clients that send short digests continue to be answered. Only `wholeDigest` rejects
// forged ones. No such clients are known of the other protocols.
bool UsmReader::isSigned(const UserKeys& keys, bool wholeDigest) const {
    const std::string& field = v3_.msgAuthenticationParameters;
    const bool isSizeChecked = wholeDigest || !takesAnyDigestSize(keys);
    if (keys.digest.empty() || (isSizeChecked && field.size() != sentDigestSize(keys.method))) return false;
    const Octets digest = digestMessage(bytes(), keys.digest, v3_.authParamsPosition, field.size(), keys.method);
    return !digest.empty() && CRYPTO_memcmp(digest.data(), field.data(), std::min(field.size(), digest.size())) == 0;
}

void UsmReader::lowerTo(uint32_t level) {
    if (level >= security_level::Private) return;
    v3_.msgPrivacyParameters.clear();
    v3_.msgFlags[0] = static_cast<char>(v3_.msgFlags[0] & ~kPrivFlag);
    if (level >= security_level::Authorized) return;
    v3_.msgAuthenticationParameters.clear();
    v3_.msgFlags[0] = static_cast<char>(v3_.msgFlags[0] & ~kAuthFlag);
}

void UsmReader::clearAuthPrivInfo() { lowerTo(security_level::None); }

}  // namespace snmp
