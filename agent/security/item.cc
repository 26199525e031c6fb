#include "agent/security/item.h"

#include <algorithm>
#include <optional>

namespace snmp {

namespace {

constexpr tn::string_id kName{5};
constexpr tn::bool_id kReadAccess{6};
constexpr tn::bool_id kWriteAccess{7};
constexpr tn::be32_id kAddress4{8};
constexpr tn::be32_id kNetmask4{9};
constexpr tn::string_id kAuthenticationPassword{11};
constexpr tn::string_id kEncryptionPassword{12};
constexpr tn::u32_id kSecurity{15};
constexpr tn::u32_id kAuthenticationProtocol{20};
constexpr tn::u32_id kEncryptionProtocol{21};
constexpr tn::addr6_id kAddress6{22};
constexpr tn::u32_id kPrefixLength6{23};
constexpr tn::message_array_id kAddresses{27};

constexpr uint32_t kDefaultEntry = 0;

void putPrefix(tn::message& out, const IPPrefix6& prefix, bool asIPv4) {
    if (asIPv4) {
        out.insert_be32(kAddress4, prefix.address().getIPv4());
        out.insert_be32(kNetmask4, prefix.mask4());
    } else {
        out.insert_addr6(kAddress6, prefix.address());
        out.insert_u32(kPrefixLength6, prefix.length());
    }
}

std::optional<IPPrefix6> takePrefix(const tn::message& in) {
    if (in.has(kAddress6) && in.has(kPrefixLength6)) {
        return IPPrefix6::ofIPv6(in.get_addr6(kAddress6), in.get_u32(kPrefixLength6));
    }
    if (in.has(kAddress4) && in.has(kNetmask4)) {
        return IPPrefix6::ofIPv4(in.get_be32(kAddress4), in.get_be32(kNetmask4));
    }
    return std::nullopt;
}

tn::message defaults() {
    tn::message prefix;
    putPrefix(prefix, IPPrefix6::ofIPv4(0, 0), true);
    tn::message m;
    m.insert_string(kName, "common");
    m.insert_message_array(kAddresses, {prefix});
    return m;
}

}  // namespace

void Item::getConfig(tn::message& out, uint32_t flags) const {
    out.insert_string(kName, name);
    out.insert_bool(kReadAccess, readAccess);
    out.insert_bool(kWriteAccess, writeAccess);
    out.insert_string(kAuthenticationPassword, authenticationPassword);
    out.insert_string(kEncryptionPassword, encryptionPassword);
    out.insert_u32(kAuthenticationProtocol, authenticationProtocol);
    out.insert_u32(kEncryptionProtocol, encryptionProtocol);
    out.insert_u32(kSecurity, security);

    std::vector<tn::message>& list = out.get_message_array_ref(kAddresses);
    list.clear();
    for (const IPPrefix6& prefix : addresses) putPrefix(list.emplace_back(), prefix, prefix.isIPv4());

    if ((flags & tn::kTopLevelFirst) != 0 && !addresses.empty()) {
        const IPPrefix6& first = addresses.front();
        putPrefix(out, first, first.isIPv4() || first.address().empty());
    }
    out.insert_bool(tn::field::IsDefault, id == kDefaultEntry);
    if ((flags & tn::kWantDefaults) != 0 && id == kDefaultEntry) {
        out.insert_message(tn::field::Defaults, defaults());
    }
}

void Item::setConfig(const tn::message& in) {
    name = in.get_string(kName, name);
    readAccess = in.get_bool(kReadAccess, readAccess);
    writeAccess = in.get_bool(kWriteAccess, writeAccess);
    authenticationPassword = in.get_string(kAuthenticationPassword, authenticationPassword);
    encryptionPassword = in.get_string(kEncryptionPassword, encryptionPassword);
    authenticationProtocol = in.get_u32(kAuthenticationProtocol, authenticationProtocol);
    encryptionProtocol = in.get_u32(kEncryptionProtocol, encryptionProtocol);

    if (in.has(kAddresses)) {
        addresses.clear();
        for (const tn::message& entry : in.get_message_array(kAddresses)) {
            if (const auto prefix = takePrefix(entry)) addresses.push_back(*prefix);
        }
    } else if (const auto prefix = takePrefix(in)) {
        addresses = {*prefix};
    }
    if (addresses.empty()) addresses = {IPPrefix6::ofIPv4(0, 0)};
    security = in.get_u32(kSecurity, security);
}

bool Item::PasswordKey::isOf(const std::string& from, uint32_t with) const {
    return password == from && method == with;
}

void Item::PasswordKey::make(const std::string& from, uint32_t with) {
    if (isOf(from, with)) return;
    password = from;
    method = with;
    key = passwordToAKey(from, with);
}

bool Item::hasKeys(const std::string& engineId) const {
    return keysEngine_ == engineId && authenticationKey_.isOf(authenticationPassword, authenticationProtocol) &&
           encryptionKey_.isOf(encryptionPassword, authenticationProtocol);
}

const UserKeys& Item::keys(const std::string& engineId) const {
    if (hasKeys(engineId)) return keys_;
    authenticationKey_.make(authenticationPassword, authenticationProtocol);
    encryptionKey_.make(encryptionPassword, authenticationProtocol);
    keysEngine_ = engineId;
    keys_ = {};
    keys_.method = authenticationProtocol;
    const Octets digestKey = aKeyToBKey(authenticationKey_.key, engineId, keys_.method);
    if (engineId.empty() || digestKey.empty()) return keys_;
    keys_.digest = bKeyToDKey(digestKey);
    keys_.crypt = aKeyToBKey(encryptionKey_.key, engineId, keys_.method);
    return keys_;
}

bool Item::accepts(const IPAddr6& source) const {
    return std::any_of(addresses.begin(), addresses.end(), [&](const IPPrefix6& p) { return p.has(source); });
}

}  // namespace snmp
