#include "tnctl/trap_commands.h"

#include <algorithm>
#include <charconv>

#include "contracts/snmp.h"
#include "tn/address.h"
#include "tn/log.h"
#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/id_names.h"
#include "tnctl/listing.h"
#include "tnctl/numbers.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace setting = snmp::setting;
namespace trap = snmp::trap;
namespace trap_type = snmp::trap_type;

namespace {

template <int64_t Least, int64_t Most>
bool isNumber(std::string_view text) {
    int64_t number = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    return fault == std::errc() && end == text.data() + text.size() && number >= Least && number <= Most;
}

bool isIPv4(std::string_view text) {
    const auto address = tn::IPAddr6::parse(text);
    return address && address->isIPv4() && text.find(':') == text.npos;
}

// The text of a value, where its type asks for more than text.
struct Form {
    uint32_t type;
    std::string_view expected;
    bool (*fits)(std::string_view text);
};

constexpr Form kForms[] = {
    {trap_type::Integer, "a number from -2147483648 to 2147483647", isNumber<INT32_MIN, INT32_MAX>},
    {trap_type::ObjectIdentifier, "an OID such as 1.3.6.1.4.1.32473.1", isOid},
    {trap_type::IpAddress, "an IPv4 address", isIPv4},
    {trap_type::Counter32, "a number from 0 to 4294967295", isNumber<0, UINT32_MAX>},
    {trap_type::TimeTicks, "hundredths of a second, from 0 to 4294967295", isNumber<0, UINT32_MAX>},
    {trap_type::Null, "no value", [](std::string_view text) { return text.empty(); }},
};

// The agent would leave out a varbind that isn't whole, or its value, and send the trap all the same.
void checkVarbind(tn::message& varbind) {
    if (varbind.empty()) return;
    if (!varbind.has(trap::Oid)) throw Failure(kUsage, "oid: expected oid=OID with type and value");
    if (!varbind.has(trap::Type)) varbind.insert_u32(trap::Type, trap_type::OctetString);
    const uint32_t type = varbind.get_u32(trap::Type);
    if (!varbind.has(trap::Value) && type != trap_type::Null) throw Failure(kUsage, "value: expected value=VALUE");
    const std::string value = varbind.get_string(trap::Value);
    const Form* form = std::ranges::find(kForms, type, &Form::type);
    if (form != std::end(kForms) && !form->fits(value))
        throw Failure(kUsage, "value=" + tn::escaped(value) + ": expected " + std::string(form->expected));
}

// The agent takes the request whether or not it can send anything; so what keeps it from sending is told here.
void checkSending(const Client& client) {
    const tn::message settings = client.ask(snmp::kSettingsPath, tn::cmd::Get);
    const char* missing = nullptr;
    const bool isV3 = settings.get_u32(setting::TrapVersion) == snmp::trap_version::V3;
    if (isV3 && settings.get_string(setting::EngineId).empty()) missing = "engine-id=TEXT";
    const std::vector<tn::message> communities = client.list(snmp::kCommunitiesPath);
    const uint32_t community = settings.get_u32(setting::TrapCommunity, tn::kNoId);
    const auto isIt = [&](const tn::message& entry) { return entry.get_u32(tn::field::ObjectId) == community; };
    if (std::ranges::none_of(communities, isIt)) missing = "trap-community=NAME";
    if (settings.get_message_array(setting::TrapTargets).empty()) missing = "trap-targets=ADDRESS";
    if (!settings.get_bool(setting::Enabled)) missing = "enabled=yes";
    if (missing != nullptr)
        throw Failure(kFailed, std::string("the agent sends no traps: first run tnctl snmp set ") + missing);
}

}  // namespace

void listGenerators(const Session& session) {
    const Client client(session.options.timeout);
    const tn::message settings = client.ask(snmp::kSettingsPath, tn::cmd::Get);
    const std::vector<uint32_t>& on = settings.get_u32_array(setting::TrapGenerators);
    std::vector<Json> rows;
    for (const auto& [id, name] : generatorNames(client))
        rows.push_back({{"id", id}, {"name", name}, {"on", std::ranges::find(on, id) != on.end()}});
    printList(session, {{"ID", "id"}, {"NAME", "name"}, {"ON", "on"}}, rows);
}

void sendTrap(const Session& session, const std::vector<std::string>& words) {
    tn::message request =
        parseWords(trapWords(), words, [](const Word&, std::string_view value) { return std::string(value); });
    checkVarbind(request);
    const Client client(session.options.timeout);
    checkSending(client);
    client.ask(snmp::kSettingsPath, trap::kSend, std::move(request));
}

}  // namespace tnctl
