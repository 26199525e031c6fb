#include "agent/security/item.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "contracts/snmp.h"

namespace snmp {

namespace community = contracts::snmp::community;

namespace {

namespace authentication = contracts::snmp::authentication;
namespace encryption = contracts::snmp::encryption;
static_assert(contracts::snmp::security::Authorized == security_level::Authorized &&
              contracts::snmp::security::Private == security_level::Private);
static_assert(authentication::Md5 == digest_method::Md5 && authentication::Sha1 == digest_method::Sha1 &&
              authentication::Sha224 == digest_method::Sha224 && authentication::Sha256 == digest_method::Sha256 &&
              authentication::Sha384 == digest_method::Sha384 && authentication::Sha512 == digest_method::Sha512);
static_assert(encryption::Des == crypt_method::Des && encryption::Aes128 == crypt_method::Aes128 &&
              encryption::Aes192 == crypt_method::Aes192 && encryption::Aes256 == crypt_method::Aes256);

constexpr uint32_t kDefaultEntry = 0;

void putPrefix(tn::message& out, const IPPrefix6& prefix, bool asIPv4) {
    if (asIPv4) {
        out.insert_be32(community::Address4, prefix.address().getIPv4());
        out.insert_be32(community::Netmask4, prefix.mask4());
    } else {
        out.insert_addr6(community::Address6, prefix.address());
        out.insert_u32(community::PrefixLength6, prefix.length());
    }
}

std::optional<IPPrefix6> prefixIn(const tn::message& in) {
    if (in.has(community::Address6) && in.has(community::PrefixLength6)) {
        return IPPrefix6::ofIPv6(in.get_addr6(community::Address6), in.get_u32(community::PrefixLength6));
    }
    if (in.has(community::Address4) && in.has(community::Netmask4)) {
        return IPPrefix6::ofIPv4(in.get_be32(community::Address4), in.get_be32(community::Netmask4));
    }
    return std::nullopt;
}

std::vector<tn::message> messagesOf(const View& view) {
    std::vector<tn::message> list;
    for (const View::Subtree& subtree : view.subtrees()) {
        tn::message& element = list.emplace_back();
        element.insert_u32_array(community::Subtree, {subtree.root.begin(), subtree.root.end()});
        if (subtree.isExcluded) element.insert_bool(community::Excluded, true);
    }
    return list;
}

View viewOf(const std::vector<tn::message>& list) {
    std::vector<View::Subtree> subtrees;
    for (const tn::message& element : list)
        subtrees.push_back({OID(element.get_u32_array(community::Subtree)), element.get_bool(community::Excluded)});
    return View(std::move(subtrees));
}

tn::message defaults() {
    tn::message prefix;
    putPrefix(prefix, IPPrefix6::ofIPv4(0, 0), true);
    tn::message m;
    m.insert_string(community::Name, "common");
    m.insert_message_array(community::Addresses, {prefix});
    return m;
}

}  // namespace

void Item::getConfig(tn::message& out, uint32_t flags) const {
    out.insert_string(community::Name, name);
    out.insert_bool(community::ReadAccess, readAccess);
    out.insert_bool(community::WriteAccess, writeAccess);
    out.insert_string(community::AuthenticationPassword, authenticationPassword);
    out.insert_string(community::EncryptionPassword, encryptionPassword);
    out.insert_u32(community::AuthenticationProtocol, authenticationProtocol);
    out.insert_u32(community::EncryptionProtocol, encryptionProtocol);
    out.insert_u32(community::Security, security);

    std::vector<tn::message>& list = out.get_message_array_ref(community::Addresses);
    list.clear();
    for (const IPPrefix6& prefix : addresses) putPrefix(list.emplace_back(), prefix, prefix.isIPv4());
    out.insert_message_array(community::Views, messagesOf(view));  // also an empty one: a change's undo restores it

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
    name = in.get_string(community::Name, name);
    readAccess = in.get_bool(community::ReadAccess, readAccess);
    writeAccess = in.get_bool(community::WriteAccess, writeAccess);
    authenticationPassword = in.get_string(community::AuthenticationPassword, authenticationPassword);
    encryptionPassword = in.get_string(community::EncryptionPassword, encryptionPassword);
    authenticationProtocol = in.get_u32(community::AuthenticationProtocol, authenticationProtocol);
    encryptionProtocol = in.get_u32(community::EncryptionProtocol, encryptionProtocol);

    if (in.has(community::Addresses)) {
        addresses.clear();
        for (const tn::message& entry : in.get_message_array(community::Addresses)) {
            if (const auto prefix = prefixIn(entry)) addresses.push_back(*prefix);
        }
    } else if (const auto prefix = prefixIn(in)) {
        addresses = {*prefix};
    }
    if (addresses.empty()) addresses = {IPPrefix6::ofIPv4(0, 0)};  // compat: 90
    security = in.get_u32(community::Security, security);
    if (in.has(community::Views)) view = viewOf(in.get_message_array(community::Views));
}

void Item::restore(const tn::message& in) {
    setConfig(in);
    if (in.has(community::Addresses) && in.get_message_array(community::Addresses).empty()) addresses.clear();
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
    return keysEngine_ == engineId && keys_.cipher == encryptionProtocol &&
           authenticationKey_.isOf(authenticationPassword, authenticationProtocol) &&
           encryptionKey_.isOf(encryptionPassword, authenticationProtocol);
}

const UserKeys& Item::keys(const std::string& engineId) const {
    if (hasKeys(engineId)) return keys_;
    keys_ = keysFor(engineId);
    keysEngine_ = engineId;
    return keys_;
}

UserKeys Item::keysFor(const std::string& engineId) const {
    authenticationKey_.make(authenticationPassword, authenticationProtocol);
    encryptionKey_.make(encryptionPassword, authenticationProtocol);
    UserKeys keys;
    keys.method = authenticationProtocol;
    keys.cipher = encryptionProtocol;
    const Octets digestKey = aKeyToBKey(authenticationKey_.key, engineId, keys.method);
    if (engineId.empty() || digestKey.empty()) return keys;
    keys.digest = bKeyToDKey(digestKey, keys.method);
    keys.crypt = bKeyToCKey(aKeyToBKey(encryptionKey_.key, engineId, keys.method), encryptionProtocol, keys.method);
    return keys;
}

bool Item::accepts(const IPAddr6& source) const {
    return std::any_of(addresses.begin(), addresses.end(), [&](const IPPrefix6& p) { return p.has(source); });
}

}  // namespace snmp
