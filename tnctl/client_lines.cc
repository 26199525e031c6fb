#include "tnctl/client_lines.h"

#include <algorithm>

#include "contracts/snmp.h"
#include "tn/escape.h"
#include "tnctl/listing.h"

namespace tnctl {

namespace community = contracts::snmp::community;
namespace security = contracts::snmp::security;

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kStandardPort = 161;
constexpr std::string_view kMaxRepetitions = "50";
constexpr std::string_view kExporterLimit = "max_repetitions: 50";

/// A protocol in the words of each client.
struct ProtocolNames {
    std::string_view netSnmp, goSnmp, zabbix;
};

// By contracts::snmp::authentication and encryption. AES-192 and AES-256 without the C of the other key extension.
constexpr ProtocolNames kDigests[] = {{"MD5", "MD5", "MD5"},           {"SHA", "SHA", "SHA1"},
                                      {"SHA-224", "SHA224", "SHA224"}, {"SHA-256", "SHA256", "SHA256"},
                                      {"SHA-384", "SHA384", "SHA384"}, {"SHA-512", "SHA512", "SHA512"}};
constexpr ProtocolNames kCiphers[] = {
    {"DES", "DES", "DES"}, {"AES", "AES", "AES128"}, {"AES-192", "AES192", "AES192"}, {"AES-256", "AES256", "AES256"}};
constexpr ProtocolNames kUnknown = {"UNKNOWN", "UNKNOWN", "UNKNOWN"};

template <size_t N>
const ProtocolNames& namesOf(const ProtocolNames (&table)[N], uint32_t protocol) {
    return protocol < N ? table[protocol] : kUnknown;
}

/// False if a terminal could misread the text. Backslashes, which escaped() doubles, are harmless here.
bool isPrintable(std::string_view text) {
    std::string rest(text);
    std::erase(rest, '\\');
    return tn::escaped(rest) == rest;
}

std::string printable(const std::string& text) { return isPrintable(text) ? text : tn::escaped(text); }

/// A text as one word of a shell: quoted as POSIX requires, or as $'...' if it isn't printable.
std::string shellWord(std::string_view text) {
    constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.,:/@+";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos) return std::string(text);
    if (!isPrintable(text)) {
        std::string word = "$'";
        for (const char c : tn::escaped(text)) word += c == '\'' ? std::string("\\'") : std::string(1, c);
        return word + "'";
    }
    std::string word = "'";
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

/// A text as a string of YAML and of TOML: both accept those of JSON.
std::string quoted(const std::string& text) { return jsonText(Json(text), -1); }

/// What every client has to know, as text.
struct Facts {
    std::string name, authenticationPassword, encryptionPassword;
    ProtocolNames digest, cipher;
    uint32_t level;  ///< one of contracts::snmp::security
    Service service;

    [[nodiscard]] bool isUser() const { return level != security::None; }
    [[nodiscard]] bool isPrivate() const { return level >= security::Private; }
    [[nodiscard]] std::string_view levelName() const { return isPrivate() ? "authPriv" : "authNoPriv"; }
    [[nodiscard]] std::string host() const {
        return service.port == kStandardPort ? "HOST" : "HOST:" + std::to_string(service.port);
    }
};

Facts factsOf(const tn::message& entry, const Service& service, bool secrets) {
    const auto password = [&](tn::string_id field, std::string_view placeholder) {
        return secrets ? entry.get_string(field) : std::string(placeholder);
    };
    return {.name = entry.get_string(community::Name),
            .authenticationPassword = password(community::AuthenticationPassword, "AUTHENTICATION-PASSWORD"),
            .encryptionPassword = password(community::EncryptionPassword, "ENCRYPTION-PASSWORD"),
            .digest = namesOf(kDigests, entry.get_u32(community::AuthenticationProtocol)),
            .cipher = namesOf(kCiphers, entry.get_u32(community::EncryptionProtocol)),
            .level = entry.get_u32(community::Security),
            .service = service};
}

Lines snmpwalk(const Facts& f) {
    std::string line = "snmpwalk ";
    if (f.isUser()) {
        line += "-v3 -l " + std::string(f.levelName()) + " -u " + shellWord(f.name) + " -a " +
                std::string(f.digest.netSnmp) + " -A " + shellWord(f.authenticationPassword);
        if (f.isPrivate()) line += " -x " + std::string(f.cipher.netSnmp) + " -X " + shellWord(f.encryptionPassword);
    } else {
        line += "-v2c -c " + shellWord(f.name);
    }
    return {line + " " + f.host() + " 1.3.6.1.2.1.1"};
}

std::string exporterVersion(const Facts& f) { return f.isUser() ? "version: 3" : "version: 2"; }

Lines exporterAuthentication(const Facts& f) {
    if (!f.isUser()) return {"community: " + quoted(f.name)};
    Lines lines{"username: " + quoted(f.name), "security_level: " + std::string(f.levelName()),
                "auth_protocol: " + std::string(f.digest.goSnmp), "password: " + quoted(f.authenticationPassword)};
    if (f.isPrivate())
        lines.insert(lines.end(), {"priv_protocol: " + std::string(f.cipher.goSnmp),
                                   "priv_password: " + quoted(f.encryptionPassword)});
    return lines;
}

Lines prometheus(const Facts& f) {
    Lines lines{"auths:", "  tarnix:"};
    lines.push_back("    " + exporterVersion(f));
    for (const std::string& line : exporterAuthentication(f)) lines.push_back("    " + line);
    lines.insert(lines.end(), {"modules:", f.service.standard ? "  if_mib:  # unchanged" : "  if_mib:"});
    if (!f.service.standard) lines.push_back("    " + std::string(kExporterLimit));
    lines.push_back("# query: /snmp?target=" + f.host() + "&auth=tarnix&module=if_mib");
    return lines;
}

/// Each module has its own authentication.
Lines oldPrometheus(const Facts& f) {
    Lines lines{"if_mib:"};
    lines.push_back("  " + exporterVersion(f));
    if (!f.service.standard) lines.push_back("  " + std::string(kExporterLimit));
    lines.emplace_back("  auth:");
    for (const std::string& line : exporterAuthentication(f)) lines.push_back("    " + line);
    lines.push_back("# query: /snmp?target=" + f.host() + "&module=if_mib");
    return lines;
}

Lines zabbix(const Facts& f) {
    Lines lines{"Port: " + std::to_string(f.service.port)};
    if (f.isUser()) {
        lines.insert(lines.end(), {"SNMP version: SNMPv3", "Security name: " + printable(f.name),
                                   "Security level: " + std::string(f.levelName()),
                                   "Authentication protocol: " + std::string(f.digest.zabbix),
                                   "Authentication passphrase: " + printable(f.authenticationPassword)});
        if (f.isPrivate())
            lines.insert(lines.end(), {"Privacy protocol: " + std::string(f.cipher.zabbix),
                                       "Privacy passphrase: " + printable(f.encryptionPassword)});
    } else {
        lines.insert(lines.end(), {"SNMP version: SNMPv2", "SNMP community: " + printable(f.name)});
    }
    if (!f.service.standard)
        lines.push_back("Max repetition count (Zabbix 6.4 or later): " + std::string(kMaxRepetitions));
    return lines;
}

Lines telegraf(const Facts& f) {
    Lines lines{"[[inputs.snmp]]"};
    const auto add = [&lines](std::string_view key, const std::string& value) {
        lines.push_back("  " + std::string(key) + " = " + value);
    };
    add("agents", "[" + quoted("udp://HOST:" + std::to_string(f.service.port)) + "]");
    if (f.isUser()) {
        add("version", "3");
        add("sec_name", quoted(f.name));
        add("sec_level", quoted(std::string(f.levelName())));
        add("auth_protocol", quoted(std::string(f.digest.goSnmp)));
        add("auth_password", quoted(f.authenticationPassword));
        if (f.isPrivate()) {
            add("priv_protocol", quoted(std::string(f.cipher.goSnmp)));
            add("priv_password", quoted(f.encryptionPassword));
        }
    } else {
        add("version", "2");
        add("community", quoted(f.name));
    }
    if (!f.service.standard) add("max_repetitions", std::string(kMaxRepetitions));
    return lines;
}

Lines librenms(const Facts& f) {
    std::string line = "lnms device:add ";
    if (f.isUser()) {
        line += "--v3 --security-name=" + shellWord(f.name) + " --auth-protocol=" + std::string(f.digest.netSnmp) +
                " --auth-password=" + shellWord(f.authenticationPassword);
        if (f.isPrivate())
            line += " --privacy-protocol=" + std::string(f.cipher.netSnmp) +
                    " --privacy-password=" + shellWord(f.encryptionPassword);
    } else {
        line += "--v2c --community=" + shellWord(f.name);
    }
    if (f.service.port != kStandardPort) line += " --port=" + std::to_string(f.service.port);
    Lines lines{line + " HOST"};
    if (!f.service.standard) lines.push_back("lnms config:set snmp.max_repeaters " + std::string(kMaxRepetitions));
    return lines;
}

struct ManagerClient {
    std::string_view name;
    std::string_view title;
    Lines (*lines)(const Facts&);
};

constexpr ManagerClient kClients[] = {
    {"snmpwalk", "snmpwalk (and snmpget, snmpset ...)", snmpwalk},
    {"prometheus", "Prometheus: snmp.yml of snmp_exporter 0.23 or later", prometheus},
    {"prometheus-0.22", "Prometheus: snmp.yml of snmp_exporter up to 0.22, for example of Debian 12", oldPrometheus},
    {"zabbix", "Zabbix: SNMP interface of the host", zabbix},
    {"telegraf", "Telegraf: telegraf.conf", telegraf},
    {"librenms", "LibreNMS", librenms},
};

}  // namespace

std::vector<ClientLines> clientLines(const tn::message& entry, const Service& service, bool secrets) {
    const Facts facts = factsOf(entry, service, secrets);
    std::vector<ClientLines> all;
    for (const ManagerClient& client : kClients) all.push_back({client.name, client.title, client.lines(facts)});
    return all;
}

}  // namespace tnctl
