#include "tnctl/value_types.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "contracts/snmp.h"
#include "tnctl/numbers.h"
#include "tnctl/prefixes.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace setting = snmp::setting;
namespace trap_type = snmp::trap_type;

namespace {

bool parseYesNo(std::string_view text, uint32_t number, tn::message& out) {
    const bool yes = text == "yes" || text == "true" || text == "on";
    if (!yes && text != "no" && text != "false" && text != "off") return false;
    out.insert_bool(tn::bool_id(number), yes);
    return true;
}

Json showBool(const tn::message& in, uint32_t number) { return in.get_bool(tn::bool_id(number)); }

template <size_t Least, size_t Most>
bool parseText(std::string_view text, uint32_t number, tn::message& out) {
    if (text.size() < Least || text.size() > Most) return false;
    out.insert_string(tn::string_id(number), std::string(text));
    return true;
}

Json showText(const tn::message& in, uint32_t number) { return in.get_string(tn::string_id(number)); }

struct Choice {
    uint32_t value;
    std::string_view text;  ///< in lower case, without hyphens
};

// The first text of a value is shown. The others are the words of RFCs and of other tools.

constexpr std::array<Choice, 8> kSecurityChoices{{{snmp::security::None, "none"},
                                                  {snmp::security::None, "noauthnopriv"},
                                                  {snmp::security::Authorized, "authorized"},
                                                  {snmp::security::Authorized, "authnopriv"},
                                                  {snmp::security::Authorized, "auth"},
                                                  {snmp::security::Private, "private"},
                                                  {snmp::security::Private, "authpriv"},
                                                  {snmp::security::Private, "priv"}}};
constexpr std::array<Choice, 7> kAuthenticationChoices{{{snmp::authentication::Md5, "md5"},
                                                        {snmp::authentication::Sha1, "sha1"},
                                                        {snmp::authentication::Sha1, "sha"},
                                                        {snmp::authentication::Sha224, "sha224"},
                                                        {snmp::authentication::Sha256, "sha256"},
                                                        {snmp::authentication::Sha384, "sha384"},
                                                        {snmp::authentication::Sha512, "sha512"}}};
constexpr std::array<Choice, 5> kEncryptionChoices{{{snmp::encryption::Des, "des"},
                                                    {snmp::encryption::Aes128, "aes128"},
                                                    {snmp::encryption::Aes128, "aes"},
                                                    {snmp::encryption::Aes192, "aes192"},
                                                    {snmp::encryption::Aes256, "aes256"}}};
constexpr std::array<Choice, 7> kTrapTypeChoices{{{trap_type::OctetString, "string"},
                                                  {trap_type::Integer, "integer"},
                                                  {trap_type::ObjectIdentifier, "oid"},
                                                  {trap_type::IpAddress, "ipaddress"},
                                                  {trap_type::Counter32, "counter32"},
                                                  {trap_type::TimeTicks, "timeticks"},
                                                  {trap_type::Null, "null"}}};
constexpr std::array<Choice, 3> kVersionChoices{
    {{snmp::trap_version::V1, "1"}, {snmp::trap_version::V2c, "2c"}, {snmp::trap_version::V3, "3"}}};

constexpr std::array<Choice, 2> kKindChoices{{{snmp::trap_kind::Trap, "trap"}, {snmp::trap_kind::Inform, "inform"}}};

/// A word as choices are written: SHA-256 is sha256.
std::string plainWord(std::string_view text) {
    std::string word;
    for (const char c : text)
        if (c != '-') word += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return word;
}

template <const auto& Choices>
bool parseChoice(std::string_view text, uint32_t number, tn::message& out) {
    const std::string word = plainWord(text);
    for (const Choice& choice : Choices) {
        if (choice.text != word) continue;
        out.insert_u32(tn::u32_id(number), choice.value);
        return true;
    }
    return false;
}

template <const auto& Choices>
Json showChoice(const tn::message& in, uint32_t number) {
    const uint32_t value = in.get_u32(tn::u32_id(number));
    for (const Choice& choice : Choices)
        if (choice.value == value) return choice.text;
    return value;
}

bool parseU32(std::string_view text, uint32_t number, tn::message& out) {
    const auto value = parseNumber(text);
    if (value) out.insert_u32(tn::u32_id(number), static_cast<uint32_t>(*value));
    return value.has_value();
}

Json showNumber(const tn::message& in, uint32_t number) { return in.get_u32(tn::u32_id(number)); }

bool parsePrefixes(std::string_view text, uint32_t number, tn::message& out) {
    std::vector<tn::message> prefixes;
    for (const std::string_view piece : splitAtCommas(text)) {
        const auto prefix = tn::IPPrefix6::parse(piece);
        if (!prefix) return false;
        prefixes.push_back(prefixMessage(*prefix));
    }
    out.insert_message_array(tn::message_array_id(number), std::move(prefixes));
    return true;
}

Json showPrefixes(const tn::message& in, uint32_t number) {
    Json texts = Json::array();
    for (const tn::IPPrefix6& prefix : prefixesOf(in.get_message_array(tn::message_array_id(number))))
        texts.push_back(prefix.str());
    return texts;
}

// A minus, not an exclamation mark, which interactive shells expand.
bool parseViews(std::string_view text, uint32_t number, tn::message& out) {
    std::vector<tn::message> views;
    bool isAnyIncluded = text == "all";
    if (text != "all") {
        for (std::string_view piece : splitAtCommas(text)) {
            const bool isExcluded = piece.starts_with('-');
            if (isExcluded) piece.remove_prefix(1);
            auto root = parseOid(piece);
            if (!root) return false;
            isAnyIncluded = isAnyIncluded || !isExcluded;
            tn::message& view = views.emplace_back();
            view.insert_u32_array(snmp::community::Subtree, std::move(*root));
            if (isExcluded) view.insert_bool(snmp::community::Excluded, true);
        }
    }
    // What isn't included isn't visible: without an included subtree, nothing would be.
    if (isAnyIncluded) out.insert_message_array(tn::message_array_id(number), std::move(views));
    return isAnyIncluded;
}

Json showViews(const tn::message& in, uint32_t number) {
    Json texts = Json::array();
    for (const tn::message& view : in.get_message_array(tn::message_array_id(number))) {
        std::string text;
        for (const uint32_t id : view.get_u32_array(snmp::community::Subtree))
            text += (text.empty() ? "" : ".") + std::to_string(id);
        texts.push_back((view.get_bool(snmp::community::Excluded) ? "-" : "") + text);
    }
    return texts.empty() ? Json("all") : texts;
}

// ADDRESS[:PORT], [ADDRESS] or [ADDRESS]:PORT. The colons of an IPv6 address would hide a port.
std::optional<tn::message> parseTarget(std::string_view text) {
    std::optional<tn::IPAddr6> address = tn::IPAddr6::parse(text);
    std::optional<uint64_t> port;
    if (!address) {
        const size_t colon = text.rfind(':');
        std::string_view host = text.substr(0, colon);
        const bool inBrackets = host.starts_with('[') && host.ends_with(']');
        if (inBrackets) host = host.substr(1, host.size() - 2);
        if (inBrackets == (host.find(':') == host.npos)) return std::nullopt;
        address = tn::IPAddr6::parse(host);
        port = colon == text.npos ? std::nullopt : parseNumber(text.substr(colon + 1), UINT16_MAX);
        if (!address || port.value_or(0) == 0) return std::nullopt;
    }
    tn::message target;
    if (address->isIPv4())
        target.insert_be32(setting::Target4, address->getIPv4());
    else
        target.insert_addr6(setting::Target6, *address);
    if (port) target.insert_u32(setting::TargetPort, static_cast<uint32_t>(*port));
    return target;
}

std::string targetText(const tn::message& target) {
    const tn::IPAddr6 address = target.has(setting::Target6) ? target.get_addr6(setting::Target6)
                                                             : tn::IPAddr6::ofIPv4(target.get_be32(setting::Target4));
    if (!target.has(setting::TargetPort)) return address.str();
    const std::string host = address.isIPv4() ? address.str() : "[" + address.str() + "]";
    return host + ":" + std::to_string(target.get_u32(setting::TargetPort));
}

bool parseTargets(std::string_view text, uint32_t number, tn::message& out) {
    std::vector<tn::message> targets;
    if (text != "none") {
        for (const std::string_view piece : splitAtCommas(text)) {
            auto target = parseTarget(piece);
            if (!target) return false;
            targets.push_back(std::move(*target));
        }
    }
    out.insert_message_array(tn::message_array_id(number), std::move(targets));
    return true;
}

Json showTargets(const tn::message& in, uint32_t number) {
    Json texts = Json::array();
    for (const tn::message& target : in.get_message_array(tn::message_array_id(number))) {
        if (target.has(setting::Target6) || target.has(setting::Target4)) texts.push_back(targetText(target));
    }
    return texts;
}

bool parseOid(std::string_view text, uint32_t number, tn::message& out) {
    if (isOid(text)) out.insert_string(tn::string_id(number), std::string(text));
    return isOid(text);
}

// References as typed, see value_types.h.
bool parseReferences(std::string_view text, uint32_t number, tn::message& out) {
    std::vector<std::string> references;
    for (const std::string_view piece : splitAtCommas(text)) {
        if (piece.empty()) return false;
        references.emplace_back(piece);
    }
    out.insert_string_array(tn::string_array_id(number), std::move(references));
    return true;
}

bool parseGenerators(std::string_view text, uint32_t number, tn::message& out) {
    auto ids = text == "none" ? std::vector<uint32_t>() : parseNumbers(text);
    if (!ids) return parseReferences(text, number, out);
    out.insert_u32_array(tn::u32_array_id(number), std::move(*ids));
    return true;
}

Json showGenerators(const tn::message& in, uint32_t number) { return Json(in.get_u32_array(tn::u32_array_id(number))); }

bool parseInterfaces(std::string_view text, uint32_t number, tn::message& out) {
    auto ids = text == "all" ? std::vector<uint32_t>{0} : text == "none" ? std::vector<uint32_t>() : parseNumbers(text);
    for (const std::string_view piece : splitAtCommas(text))
        if (parseNumber(piece) == 0U) return false;  // 0 would mean all of them
    if (!ids) return parseReferences(text, number, out);
    out.insert_message_array(tn::message_array_id(number), interfaceFilter(*ids));
    return true;
}

Json showInterfaces(const tn::message& in, uint32_t number) {
    Json ids = Json::array();
    for (const tn::message& element : in.get_message_array(tn::message_array_id(number))) {
        const uint32_t id = element.get_u32(setting::Interface, tn::kNoId);
        if (id == 0) return "all";
        ids.push_back(id);
    }
    return ids.empty() ? Json("none") : ids;
}

bool parsePlugins(std::string_view text, uint32_t number, tn::message& out) {
    if (text != "none") return parseReferences(text, number, out);
    out.insert_string_array(tn::string_array_id(number), {});
    return true;
}

Json showPlugins(const tn::message& in, uint32_t number) {
    const auto& names = in.get_string_array(tn::string_array_id(number));
    return names.empty() ? Json("none") : Json(names);
}

bool parseCommunity(std::string_view text, uint32_t number, tn::message& out) {
    if (text == "none")
        out.insert_u32(tn::u32_id(number), tn::kNoId);
    else if (text.empty())
        return false;
    else
        out.insert_string(tn::string_id(number), std::string(text));
    return true;
}

Json showCommunity(const tn::message& in, uint32_t number) {
    const uint32_t id = in.get_u32(tn::u32_id(number), tn::kNoId);
    return id == tn::kNoId ? Json("none") : Json(id);
}

}  // namespace

std::vector<tn::message> interfaceFilter(const std::vector<uint32_t>& ids) {
    std::vector<tn::message> filter(ids.size());
    for (size_t i = 0; i < ids.size(); ++i) filter[i].insert_u32(setting::Interface, ids[i]);
    return filter;
}

const ValueType kYesNo{"yes or no", parseYesNo, showBool};
const ValueType kText{"text of at most 255 octets", parseText<0, 255>, showText};
const ValueType kName{"text of 1 to 255 octets", parseText<1, 255>, showText};
const ValueType kEngineId{"text of at most 27 octets", parseText<0, 27>, showText};
const ValueType kPassword{"a password, - to read it from standard input, or @FILE to read it from a file",
                          parseText<0, 1024>, showText,
                          /*secret=*/true};
const ValueType kNumber{"a number from 0 to 4294967295", parseU32, showNumber};
const ValueType kSecurity{"none, authorized or private", parseChoice<kSecurityChoices>, showChoice<kSecurityChoices>};
const ValueType kAuthenticationProtocol{"md5, sha1, sha224, sha256, sha384 or sha512",
                                        parseChoice<kAuthenticationChoices>, showChoice<kAuthenticationChoices>};
const ValueType kEncryptionProtocol{"des, aes128, aes192 or aes256", parseChoice<kEncryptionChoices>,
                                    showChoice<kEncryptionChoices>};
const ValueType kTrapVersion{"1, 2c or 3", parseChoice<kVersionChoices>, showChoice<kVersionChoices>};
const ValueType kTrapKind{"trap or inform", parseChoice<kKindChoices>, showChoice<kKindChoices>};
const ValueType kPrefixes{"prefixes or addresses such as 192.0.2.0/24,2001:db8::1", parsePrefixes, showPrefixes};
const ValueType kViews{"subtrees such as 1.3.6.1.2.1,-1.3.6.1.2.1.25, at least one without a minus, or all", parseViews,
                       showViews};
const ValueType kTargets{"addresses such as 192.0.2.1,192.0.2.2:1162,2001:db8::1,[2001:db8::2]:1162, or none",
                         parseTargets, showTargets};
const ValueType kOid{"an OID such as 1.3.6.1.4.1.32473.1", parseOid, showText};
const ValueType kTrapType{"string, integer, oid, ipaddress, counter32, timeticks or null",
                          parseChoice<kTrapTypeChoices>, showChoice<kTrapTypeChoices>};
const ValueType kValueText{"text of at most 60000 octets", parseText<0, 60'000>, showText};
const ValueType kGenerators{"generators such as start-trap,interfaces, or none", parseGenerators, showGenerators};
const ValueType kInterfaces{"all, none or interfaces such as eth0,eth1", parseInterfaces, showInterfaces};
const ValueType kPlugins{"plug-ins such as ifx,ucd, or none", parsePlugins, showPlugins};
const ValueType kCommunity{"a community's name or id, or none", parseCommunity, showCommunity};

}  // namespace tnctl
