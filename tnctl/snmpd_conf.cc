#include "tnctl/snmpd_conf.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "tn/address.h"
#include "tnctl/numbers.h"
#include "tnctl/snmp_words.h"
#include "tnctl/snmpd_conf_reader.h"

namespace tnctl {

namespace {

using Words = std::vector<std::string>;

/// Why a line isn't translated.
struct Reason {
    std::string text;
};

constexpr char kViewMark = '@';  // before the name of a view, in Entry::part
constexpr std::string_view kEveryIPv4 = "0.0.0.0/0";
constexpr std::string_view kEveryone = "::/0";
// ::/0 would contain IPv4, as mapped addresses do.
constexpr std::string_view kEveryIPv6 = "2000::/3,fc00::/7,fe80::/10,::1/128";

bool isNumeric(const std::string& address) { return tn::IPAddr6::parse(address).has_value(); }

/// The address of a trap receiver: ADDRESS, [IPV6], with a transport before it and a port after it.
std::string targetOf(std::string text, const std::string& port) {
    for (const std::string_view transport : {"udp:", "udp6:", "udpv6:", "udpipv6:"})
        if (lowerCase(text).starts_with(transport)) {
            text.erase(0, transport.size());
            break;
        }
    std::string at = port;
    if (const size_t bracket = text.find(']'); text.starts_with('[') && bracket != text.npos) {
        if (bracket + 1 < text.size()) at = text.substr(bracket + 2);
        text = text.substr(1, bracket - 1);
    } else if (std::ranges::count(text, ':') == 1) {
        at = text.substr(text.find(':') + 1);
        text.resize(text.find(':'));
    }
    if (!isNumeric(text)) throw Reason{"expected an address, not a name or another transport"};
    if (at.empty()) return text;
    const auto number = parseNumber(at, UINT16_MAX);
    if (number.value_or(0) == 0) throw Reason{"expected a port from 1 to 65535"};
    return (tn::IPAddr6::parse(text)->isIPv4() ? text : "[" + text + "]") + ":" + std::to_string(*number);
}

/// A community or user, as far as the lines up to now define it.
struct Entry {
    size_t line = 0;
    bool isGranted = false;  ///< by a line of its own, or needed for traps
    bool reads = false, writes = false;
    std::string security = "none";
    std::string addresses;
    std::string part;  ///< as returned by partOf
    Words protocols;   ///< words with protocols and passwords
};

class Translator {
  public:
    SnmpdConf translate(std::string_view text) {
        forEachDirective(text, [this](const Directive& directive) { translateLine(directive); });
        finish();
        return std::move(result_);
    }

  private:
    using Rule = void (Translator::*)(const Words& arguments, std::string_view rest);
    static const std::map<std::string_view, Rule>& rules();
    static const std::map<std::string_view, std::string_view>& reasons();

    void translateLine(const Directive& directive) {
        line_ = directive.line;
        try {
            if (!directive.isOfSnmpd) throw Reason{"it is in the section of another program"};
            const std::string key = lowerCase(directive.name);
            if (const auto rule = rules().find(key); rule != rules().end())
                return (this->*rule->second)(directive.arguments, directive.rest);
            const auto known = reasons().find(key);
            throw Reason{known == reasons().end() ? "there is no such setting" : std::string(known->second)};
        } catch (const Reason& reason) {
            refuse(line_, directive.name, reason.text);
        }
    }

    void refuse(size_t line, const std::string& directive, const std::string& reason) {
        result_.untranslated.push_back({line, directive, reason});
    }

    void command(size_t line, Words words) { result_.commands.push_back({line, std::move(words)}); }

    // --- communities

    void readOnly(const Words& arguments, std::string_view) { community(arguments, false, false); }
    void readWrite(const Words& arguments, std::string_view) { community(arguments, true, false); }
    void readOnly6(const Words& arguments, std::string_view) { community(arguments, false, true); }
    void readWrite6(const Words& arguments, std::string_view) { community(arguments, true, true); }

    static std::string sourceOf(const Words& arguments, bool isIPv6) {
        const std::string source = arguments.size() > 1 ? arguments[1] : "default";
        if (source == "default") return std::string(isIPv6 ? kEveryIPv6 : kEveryIPv4);
        if (source == "localhost") return isIPv6 ? "::1/128" : "127.0.0.1/32";
        const auto prefix = tn::IPPrefix6::parse(source);
        if (!prefix) throw Reason{"expected an address or prefix as the source"};
        if (prefix->isIPv4() == isIPv6) throw Reason{"the source is of the other kind, IPv4 or IPv6"};
        return prefix->str();
    }

    /// The part of the tree that these arguments restrict to, from this one on: OID or -V VIEW. Empty: the whole tree.
    static std::string partOf(const Words& arguments, size_t from) {
        if (arguments.size() <= from) return "";
        if (arguments[from] == "-V" && arguments.size() == from + 2)
            return std::string(1, kViewMark) + arguments[from + 1];
        if (arguments.size() > from + 1) throw Reason{"contexts aren't supported"};
        return arguments[from] == ".1" || arguments[from] == "1" ? "" : oidOf(arguments[from]);
    }

    static std::string oidOf(const std::string& text) {
        if (text == ".1" || text == "1") return "1.3";
        if (!isOid(text)) throw Reason{"expected a numeric OID"};
        return text.substr(text.starts_with('.') ? 1 : 0);
    }

    void view(const Words& arguments, std::string_view) {
        if (arguments.size() < 3) throw Reason{"expected a name, included or excluded, and an OID"};
        View& made = views_[arguments[0]];
        try {
            if (arguments.size() > 3) throw Reason{"masks aren't supported"};
            const std::string type = lowerCase(arguments[1]);
            if (type != "included" && type != "excluded") throw Reason{"expected included or excluded"};
            const std::string oid = oidOf(arguments[2]);
            made.isAnyIncluded = made.isAnyIncluded || type == "included";
            made.text += (made.text.empty() ? "" : ",") + (type == "included" ? oid : "-" + oid);
        } catch (const Reason&) {
            made.isWhole = false;  // what refers to it would see too much
            throw;
        }
    }

    /// The value of `views` for a part. Throws Reason if it can't be expressed.
    std::string viewsOf(const std::string& part) const {
        if (part.front() != kViewMark) return part;
        const auto found = views_.find(part.substr(1));
        if (found == views_.end() || !found->second.isWhole || !found->second.isAnyIncluded)
            throw Reason{"its view can't be translated"};
        return found->second.text;
    }

    void community(const Words& arguments, bool writes, bool isIPv6) {
        if (arguments.empty() || arguments[0].empty()) throw Reason{"expected a community"};
        const std::string source = sourceOf(arguments, isIPv6);
        Entry& entry = entryFor(arguments[0], true, writes, partOf(arguments, 2));
        entry.addresses += (entry.addresses.empty() ? "" : ",") + source;
    }

    /// The entry with this name, which is granted these rights.
    Entry& entryFor(const std::string& name, bool reads, bool writes, const std::string& part) {
        const auto found = entries_.find(name);
        if (found != entries_.end() && found->second.isGranted &&
            (found->second.writes != writes || found->second.reads != reads || found->second.part != part))
            throw Reason{"an entry has the same rights for all its sources, and line " +
                         std::to_string(found->second.line) + " grants other ones"};
        Entry& entry = entries_[name];
        if (entry.line == 0) entry.line = line_;
        entry.isGranted = true;
        entry.reads = reads;
        entry.writes = writes;
        entry.part = part;
        return entry;
    }

    // --- users

    void createUser(const Words& arguments, std::string_view) {
        if (arguments.empty()) throw Reason{"expected a user"};
        if (arguments[0] == "-e") throw Reason{"its engine id is another one's"};
        if (entries_.contains(arguments[0])) throw Reason{"an earlier line has this name"};
        Words words;
        for (size_t at = 1; at < arguments.size(); at += 2) {
            if (at > 3) throw Reason{"too many arguments"};
            const std::string which = at == 1 ? "authentication" : "encryption";
            // The encryption password is that of authentication unless it is given.
            const bool hasPassword = at + 1 < arguments.size();
            if (!hasPassword && at == 1) throw Reason{"expected a password"};
            const std::string& password = arguments[hasPassword ? at + 1 : 2];
            if (password == "-m" || password == "-l") throw Reason{"it has keys instead of passwords"};
            addProtocol(which, arguments[at], password, words);
        }
        Entry& user = entries_[arguments[0]];
        user.line = line_;
        user.protocols = std::move(words);
    }

    static void addProtocol(const std::string& which, const std::string& protocol, const std::string& password,
                            Words& words) {
        const std::string assignment = which + "-protocol=" + protocol;
        const auto asTyped = [](const Word&, std::string_view value) { return std::string(value); };
        try {
            (void)parseWords(communityWords(), {assignment}, asTyped);
        } catch (const std::exception&) {
            throw Reason{"unknown protocol"};
        }
        words.push_back(assignment);
        const bool hasMeaning = password.starts_with('@');
        words.push_back(which + "-password=" + (hasMeaning ? "@" : "") + password);
    }

    void readOnlyUser(const Words& arguments, std::string_view) { user(arguments, false); }
    void readWriteUser(const Words& arguments, std::string_view) { user(arguments, true); }

    void user(Words arguments, bool writes) {
        if (arguments.size() > 1 && arguments[0] == "-s") {
            if (lowerCase(arguments[1]) != "usm") throw Reason{"its security model isn't supported"};
            arguments.erase(arguments.begin(), arguments.begin() + 2);
        }
        if (arguments.empty()) throw Reason{"expected a user"};
        const std::string part = partOf(arguments, 2);
        const std::string level = arguments.size() > 1 ? lowerCase(arguments[1]) : "auth";
        if (level == "noauth" || level == "noauthnopriv")
            throw Reason{"without authentication, the user would be a community of SNMPv1 and v2c, too"};
        const bool isPrivate = level == "priv" || level == "authpriv";
        if (!isPrivate && level != "auth" && level != "authnopriv") throw Reason{"unknown security level"};
        grants_.push_back({line_, arguments[0], writes, isPrivate, part});
    }

    struct Grant {
        size_t line;
        std::string user;
        bool writes;
        bool isPrivate;
        std::string part;
    };

    /// Users may be granted rights before they are created.
    void grant(const Grant& granted) {
        line_ = granted.line;
        const std::string directive = granted.writes ? "rwuser" : "rouser";
        const auto found = entries_.find(granted.user);
        try {
            if (found == entries_.end() || found->second.protocols.empty())
                throw Reason{"no createUser line in this file has its passwords"};
            if (granted.isPrivate && found->second.protocols.size() < 4)
                throw Reason{"the user has no encryption password"};
            Entry& entry = entryFor(granted.user, true, granted.writes, granted.part);
            entry.security = granted.isPrivate ? "private" : "authorized";
            entry.addresses = kEveryone;
        } catch (const Reason& reason) {
            refuse(granted.line, directive, reason.text);
        }
    }

    // --- traps

    void trapCommunity(const Words& arguments, std::string_view) {
        if (arguments.empty()) throw Reason{"expected a community"};
        trapCommunity_ = arguments[0];
    }
    void trapSink(const Words& arguments, std::string_view) { sink(arguments, "1", "trap"); }
    void trap2Sink(const Words& arguments, std::string_view) { sink(arguments, "2c", "trap"); }
    void informSink(const Words& arguments, std::string_view) { sink(arguments, "2c", "inform"); }

    void sink(const Words& arguments, const std::string& version, const std::string& kind) {
        if (arguments.empty()) throw Reason{"expected an address"};
        const std::string community = arguments.size() > 1 ? arguments[1] : trapCommunity_;
        addTarget(version, kind, community, targetOf(arguments[0], arguments.size() > 2 ? arguments[2] : ""));
    }

    void trapSession(const Words& arguments, std::string_view) {
        std::map<std::string, std::string> options{{"-v", "3"}, {"-l", "noauth"}};
        Words hosts;
        std::string kind = "trap";
        for (size_t at = 0; at < arguments.size(); ++at) {
            const std::string option = arguments[at].substr(0, 2);
            if (!option.starts_with('-')) {
                hosts.push_back(arguments[at]);
                continue;
            }
            if (arguments[at] == "-Ci") {
                kind = "inform";
                continue;
            }
            static constexpr std::string_view kKnown = "vculaAxX";
            if (option.size() < 2 || kKnown.find(option[1]) == kKnown.npos) throw Reason{"unknown option " + option};
            if (arguments[at].size() > 2)
                options[option] = arguments[at].substr(2);
            else if (at + 1 < arguments.size())
                options[option] = arguments[++at];
        }
        if (hosts.size() != 1) throw Reason{"expected one address"};
        const std::string target = targetOf(hosts[0], "");
        if (options["-v"] != "3")
            return addTarget(options["-v"], kind, options.contains("-c") ? options["-c"] : trapCommunity_, target);
        addTarget("3", kind, trapUser(options), target);
    }

    /// The user of an SNMPv3 session, which is created with the options if no line has created it.
    std::string trapUser(std::map<std::string, std::string>& options) {
        const std::string name = options["-u"];
        if (name.empty()) throw Reason{"expected -u USER"};
        if (entries_.contains(name)) return name;
        const std::string level = lowerCase(options["-l"]);
        const bool isPrivate = level == "authpriv" || level == "priv";
        if (!isPrivate && level != "authnopriv" && level != "auth")
            throw Reason{"without authentication, the user would be a community of SNMPv1 and v2c, too"};
        Words words;
        if (!options.contains("-A") || (isPrivate && !options.contains("-X"))) throw Reason{"expected passwords"};
        addProtocol("authentication", options.contains("-a") ? options["-a"] : "MD5", options["-A"], words);
        if (isPrivate) addProtocol("encryption", options.contains("-x") ? options["-x"] : "DES", options["-X"], words);
        Entry& user = entryFor(name, false, false, "");
        user.security = isPrivate ? "private" : "authorized";
        user.addresses = "127.0.0.1/32";
        user.protocols = std::move(words);
        return name;
    }

    void addTarget(const std::string& version, const std::string& kind, const std::string& community,
                   const std::string& target) {
        if (version != "1" && version != "2c" && version != "3") throw Reason{"unknown SNMP version"};
        if (version == "1" && kind == "inform") throw Reason{"SNMPv1 has no informs"};
        if (!targets_.empty() && (version != trapVersion_ || kind != trapKind_ || community != trapName_))
            throw Reason{"all traps have one version, kind and community, those of line " + std::to_string(trapLine_)};
        trapKind_ = kind;
        if (targets_.empty()) trapLine_ = line_;
        trapVersion_ = version;
        trapName_ = community;
        targets_ += (targets_.empty() ? "" : ",") + target;
    }

    void addTraps() {
        if (targets_.empty()) return;
        Entry& sender = entries_[trapName_];
        if (!sender.isGranted) {
            // It names the sender only, so it has no rights.
            if (sender.line == 0) sender.line = trapLine_;
            sender.isGranted = true;
            sender.addresses = "127.0.0.1/32";
            if (!sender.protocols.empty()) sender.security = sender.protocols.size() < 4 ? "authorized" : "private";
        }
    }

    // --- texts

    void contact(const Words&, std::string_view rest) { setText("contact", rest); }
    void location(const Words&, std::string_view rest) { setText("location", rest); }
    void setText(const std::string& word, std::string_view text) {
        if (text.size() > 255) throw Reason{"longer than 255 octets"};
        // The last line holds, as in snmpd.
        texts_[word] = {line_, std::string(text)};
    }

    void finish() {
        for (const Grant& each : grants_) grant(each);
        addTraps();
        for (const auto& [name, entry] : entries_) {
            if (!entry.isGranted) {
                refuse(entry.line, "createUser", "no rouser or rwuser line grants it access");
                continue;
            }
            Words words{"snmp", "community", "add", "name=" + name, "addresses=" + entry.addresses};
            try {
                if (!entry.part.empty()) words.push_back("views=" + viewsOf(entry.part));
            } catch (const Reason& reason) {
                refuse(entry.line,
                       std::string(entry.writes ? "rw" : "ro") + (entry.protocols.empty() ? "community" : "user"),
                       reason.text);
                continue;
            }
            words.push_back(std::string("read-access=") + (entry.reads ? "yes" : "no"));
            words.push_back(std::string("write-access=") + (entry.writes ? "yes" : "no"));
            words.push_back("security=" + entry.security);
            words.insert(words.end(), entry.protocols.begin(), entry.protocols.end());
            command(entry.line, std::move(words));
        }
        for (const auto& [word, text] : texts_) command(text.first, {"snmp", "set", word + "=" + text.second});
        if (!targets_.empty())
            command(trapLine_, {"snmp", "set", "trap-version=" + trapVersion_, "trap-kind=" + trapKind_,
                                "trap-community=" + trapName_, "trap-targets=" + targets_});
        std::ranges::stable_sort(result_.untranslated, {}, &Untranslated::line);
    }

    struct View {
        std::string text;  ///< in the form of the word `views`
        bool isAnyIncluded = false;
        bool isWhole = true;  ///< all its lines are in `text`
    };

    SnmpdConf result_;
    std::map<std::string, View> views_;
    size_t line_ = 0;
    std::map<std::string, Entry> entries_;
    std::vector<Grant> grants_;
    std::map<std::string, std::pair<size_t, std::string>> texts_;
    std::string trapCommunity_ = "public", trapVersion_, trapKind_, trapName_, targets_;
    size_t trapLine_ = 0;
};

const std::map<std::string_view, Translator::Rule>& Translator::rules() {
    static const std::map<std::string_view, Rule> table{
        {"rocommunity", &Translator::readOnly},
        {"rwcommunity", &Translator::readWrite},
        {"rocommunity6", &Translator::readOnly6},
        {"rwcommunity6", &Translator::readWrite6},
        {"createuser", &Translator::createUser},
        {"rouser", &Translator::readOnlyUser},
        {"rwuser", &Translator::readWriteUser},
        {"trapcommunity", &Translator::trapCommunity},
        {"trapsink", &Translator::trapSink},
        {"trap2sink", &Translator::trap2Sink},
        {"trapsess", &Translator::trapSession},
        {"informsink", &Translator::informSink},
        {"view", &Translator::view},
        {"syscontact", &Translator::contact},
        {"syslocation", &Translator::location},
    };
    return table;
}

const std::map<std::string_view, std::string_view>& Translator::reasons() {
    static const std::map<std::string_view, std::string_view> table{
        {"agentaddress", "the agent listens on every address, on the port of its option --port"},
        {"com2sec", "rocommunity, rwcommunity, rouser and rwuser are translated"},
        {"com2sec6", "rocommunity, rwcommunity, rouser and rwuser are translated"},
        {"group", "rocommunity, rwcommunity, rouser and rwuser are translated"},
        {"access", "rocommunity, rwcommunity, rouser and rwuser are translated"},
        {"engineid", "the agent's engine id has another prefix: run tnctl snmp set engine-id=TEXT"},
        {"usmuser", "it has keys instead of passwords: create the user again"},
        {"sysname", "sysName is the machine's host name"},
        {"sysdescr", "sysDescr is the machine's"},
        {"sysobjectid", "sysObjectID is the agent's"},
        {"sysservices", "sysServices is fixed"},
        {"extend", "programs are run by plug-ins, or by the agent's scripts"},
        {"exec", "programs are run by plug-ins, or by the agent's scripts"},
        {"pass", "programs are run by plug-ins, or by the agent's scripts"},
        {"pass_persist", "programs are run by plug-ins, or by the agent's scripts"},
        {"includefile", "import that file, too"},
        {"includedir", "import the files in that folder, too"},
    };
    return table;
}

}  // namespace

SnmpdConf translateSnmpdConf(std::string_view text) { return Translator().translate(text); }

}  // namespace tnctl
