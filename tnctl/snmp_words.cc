#include "tnctl/snmp_words.h"

#include <array>

#include "tnctl/snmp_fields.h"
#include "tnctl/value_types.h"

namespace tnctl {

const Path& settingsPath() {
    static const Path path{tn::number::Snmp};
    return path;
}

const Path& communitiesPath() {
    static const Path path{tn::number::Snmp, 1};
    return path;
}

const Path& generatorsPath() {
    static const Path path{tn::number::Snmp, 2};
    return path;
}

std::span<const Word> settingWords() {
    namespace s = setting;
    // clang-format off
    static const std::array<Word, 10> words{{
        {"enabled",         "ENABLED",         kYesNo,       s::Enabled.number,       "whether requests are answered"},
        {"contact",         "CONTACT",         kText,        s::Contact.number,       "sysContact"},
        {"location",        "LOCATION",        kText,        s::Location.number,      "sysLocation"},
        {"engine-id",       "ENGINE-ID",       kEngineId,    s::EngineId.number,      "own part of the SNMPv3 engine id, needed for SNMPv3"},
        {"engine-boots",    "ENGINE-BOOTS",    kCounter,     s::EngineBoots.number,   "snmpEngineBoots", /*settable=*/false},
        {"trap-version",    "TRAP-VERSION",    kTrapVersion, s::TrapVersion.number,   "SNMP version of traps"},
        {"trap-community",  "TRAP-COMMUNITY",  kCommunity,   s::TrapCommunity.number, "community or SNMPv3 user that traps are sent as"},
        {"trap-targets",    "TRAP-TARGETS",    kTargets,     s::Targets.number,       "where traps go"},
        {"trap-generators", "TRAP-GENERATORS", kGenerators,  s::Generators.number,    "what gives traps, see tnctl snmp trap list"},
        {"interfaces",      "INTERFACES",      kInterfaces,  s::Interfaces.number,    "filter of link traps; without one (none) every interface passes"},
    }};
    // clang-format on
    return words;
}

std::span<const Word> communityWords() {
    namespace c = community;
    // clang-format off
    static const std::array<Word, 9> words{{
        {"name",                    "NAME",          kName,                   c::Name.number,                   "community string, and user name in SNMPv3"},
        {"read-access",             "READ",          kYesNo,                  c::ReadAccess.number,             "may get (a new entry: yes)"},
        {"write-access",            "WRITE",         kYesNo,                  c::WriteAccess.number,            "may set (a new entry: no)"},
        {"security",                "SECURITY",      kSecurity,               c::Security.number,               "least level of SNMPv3; above none, SNMPv1 and v2c are refused"},
        {"authentication-protocol", "AUTH",          kAuthenticationProtocol, c::AuthenticationProtocol.number, "digest of SNMPv3"},
        {"encryption-protocol",     "PRIV",          kEncryptionProtocol,     c::EncryptionProtocol.number,     "cipher of SNMPv3"},
        {"authentication-password", "AUTH-PASSWORD", kPassword,               c::AuthenticationPassword.number, "at least 8 characters"},
        {"encryption-password",     "PRIV-PASSWORD", kPassword,               c::EncryptionPassword.number,     "at least 8 characters"},
        {"addresses",               "ADDRESSES",     kPrefixes,               c::Addresses.number,              "sources it is accepted from (a new entry: everywhere)"},
    }};
    // clang-format on
    return words;
}

std::span<const Word> trapWords() {
    static const std::array<Word, 3> words{{
        {"oid", "OID", kOid, trap::Oid.number, "name of the object that the trap tells of"},
        {"type", "TYPE", kTrapType, trap::Type.number, "type of its value (without it: string)"},
        {"value", "VALUE", kValueText, trap::Value.number, "its value"},
    }};
    return words;
}

}  // namespace tnctl
