#include "tnctl/snmp_words.h"

#include <array>
#include <vector>

#include "contracts/snmp_settings.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace trap = snmp::trap;

namespace {

const ValueType& typeOf(snmp::Form form) {
    using snmp::Form;
    switch (form) {
        case Form::YesNo:
            return kYesNo;
        case Form::Text:
            return kText;
        case Form::EngineId:
            return kEngineId;
        case Form::Number:
            return kNumber;
        case Form::TrapVersion:
            return kTrapVersion;
        case Form::TrapKind:
            return kTrapKind;
        case Form::Community:
            return kCommunity;
        case Form::Generators:
            return kGenerators;
        case Form::Targets:
            return kTargets;
        case Form::Plugins:
            return kPlugins;
        case Form::Interfaces:
            break;
    }
    return kInterfaces;
}

}  // namespace

std::span<const Word> settingWords() {
    static const std::vector<Word> words = [] {
        std::vector<Word> made;
        for (const snmp::Setting& row : snmp::kSettings) {
            if (row.name.empty()) continue;
            made.push_back({row.name, {}, typeOf(row.form), row.field & tn::kFieldNumberMask, row.help, row.settable});
        }
        return made;
    }();
    return words;
}

std::span<const Word> communityWords() {
    namespace c = snmp::community;
    // clang-format off
    static const std::array<Word, 10> words{{
        {"name",                    "NAME",          kName,                   c::Name.number,                   "community string of SNMPv1 and v2c, and user name of SNMPv3"},
        {"read-access",             "READ",          kYesNo,                  c::ReadAccess.number,             "may read (default: yes)"},
        {"write-access",            "WRITE",         kYesNo,                  c::WriteAccess.number,            "may write (default: no)"},
        {"security",                "SECURITY",      kSecurity,               c::Security.number,               "minimum SNMPv3 security level; above none, SNMPv1 and v2c are refused"},
        {"authentication-protocol", "AUTH",          kAuthenticationProtocol, c::AuthenticationProtocol.number, "SNMPv3 digest"},
        {"encryption-protocol",     "PRIV",          kEncryptionProtocol,     c::EncryptionProtocol.number,     "SNMPv3 cipher"},
        {"authentication-password", "AUTH-PASSWORD", kPassword,               c::AuthenticationPassword.number, "at least 8 characters"},
        {"encryption-password",     "PRIV-PASSWORD", kPassword,               c::EncryptionPassword.number,     "at least 8 characters"},
        {"views",                   "VIEWS",         kViews,                  c::Views.number,                  "visible subtrees and, after a minus, those left out of them (default: all)"},
        {"addresses",               "ADDRESSES",     kPrefixes,               c::Addresses.number,              "accepted source addresses (default: every IPv4 address)"},
    }};
    // clang-format on
    return words;
}

std::span<const Word> userWords() { return communityWords().subspan(1); }

std::span<const Word> trapWords() {
    static const std::array<Word, 3> words{{
        {"oid", "OID", kOid, trap::Oid.number, "name of the varbind"},
        {"type", "TYPE", kTrapType, trap::Type.number, "type of its value (default: string)"},
        {"value", "VALUE", kValueText, trap::Value.number, "its value"},
    }};
    return words;
}

}  // namespace tnctl
