#include "agent/traps/v3_header.h"

#include "agent/ber/tags.h"

namespace snmp {

V3Info notificationHeader(const Item& user, uint32_t level, V3ServerInfo& engine) {
    V3Info header;
    header.msgMaxSize = kMaxMessage;
    header.msgFlags.assign(1, '\0');
    if (level >= security_level::Authorized) {
        header.msgFlags.front() |= kAuthFlag;
        header.msgAuthenticationParameters.assign(sentDigestSize(user.authenticationProtocol), '\0');
    }
    if (level >= security_level::Private) {
        header.msgFlags.front() |= kPrivFlag;
        header.msgPrivacyParameters = engine.nextSalt();
    }
    header.msgUserName = user.name;
    header.contextEngineID = engine.engineId;
    return header;
}

}  // namespace snmp
