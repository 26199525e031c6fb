#include "agent/ber/usm_writer.h"

#include <algorithm>

#include "agent/ber/tags.h"

namespace snmp {

namespace {

constexpr size_t kMaxAdded = 4 + 7;  // octets that encryption adds at most: tag, length and padding
constexpr uint8_t kPadding = 0x05;   // compat: 47, fills the last block; receivers ignore it
constexpr uint8_t kOneFlagOctet = 1;

}  // namespace

void UsmWriter::writeV3Info(const V3Info& info, uint32_t level) {
    level_ = level;
    reserved_ = level == security_level::Private ? kMaxAdded : 0;
    startSeq(tag::Sequence);  // msgGlobalData
    add(info.msgID, tag::Integer);
    add(info.msgMaxSize, tag::Integer);
    add(std::string_view(info.msgFlags).substr(0, kOneFlagOctet), tag::OctetString);
    add(info.msgSecurityModel, tag::Integer);
    endSeq();

    startSeq(tag::OctetString);  // msgSecurityParameters
    startSeq(tag::Sequence);
    add(info.msgAuthoritativeEngineID, tag::OctetString);
    add(info.msgAuthoritativeEngineBoots, tag::Integer);
    add(info.msgAuthoritativeEngineTime, tag::Integer);
    add(info.msgUserName, tag::OctetString);
    add(std::string(info.msgAuthenticationParameters.size(), '\0'), tag::OctetString);
    digestPos_ = size_ - info.msgAuthenticationParameters.size();
    add(info.msgPrivacyParameters, tag::OctetString);
    endSeq();
    endSeq();

    scopedPduPos_ = size_;
    startSeq(tag::Sequence);
    add(info.contextEngineID, tag::OctetString);
    add(info.contextName, tag::OctetString);
}

bool UsmWriter::cryptPacket(const V3Info& info, const UserKeys& keys) {
    endSeq();
    if (level_ < security_level::Private) return true;
    const PrivacyProtocol* const protocol = privacyProtocol(keys.cipher);
    if (protocol == nullptr) return false;
    const size_t over = (size_ - scopedPduPos_) % protocol->blockSize;
    const size_t padding = over == 0 ? 0 : protocol->blockSize - over;
    std::fill_n(grow(padding), padding, kPadding);
    Octets text(data_.begin() + static_cast<std::ptrdiff_t>(scopedPduPos_),
                data_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ = scopedPduPos_;
    if (!cryptMessage(keys, info.cryptParameters(), text, true)) return false;
    add(text.data(), static_cast<unsigned>(text.size()), tag::OctetString);
    return true;
}

bool UsmWriter::signPacket(const V3Info& info, const UserKeys& keys) {
    if (level_ < security_level::Authorized) return true;
    const size_t length = info.msgAuthenticationParameters.size();
    const Octets digest = digestMessage(bytes(), keys.digest, digestPos_, length, keys.method);
    std::copy_n(digest.begin(), std::min(length, digest.size()),
                data_.begin() + static_cast<std::ptrdiff_t>(digestPos_));
    return !digest.empty();
}

}  // namespace snmp
