// What the agent has counted since it started: snmp (RFC 3418), snmpMPDStats (RFC 3412) and snmpUnknownContexts
// (RFC 3413), and its engine (RFC 3411).
//
// snmpInTooBigs to snmpInGenErrs aren't served: the agent doesn't count them.

#include "agent/core/snmp_looper.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/security/v3_errors.h"
#include "agent/status/statistics.h"
#include "mib2.h"

namespace mib2 {

namespace {

using snmp::Counter;
using snmp::ErrorStatus;
namespace tag = snmp::tag;

struct Messages : snmp::Data {
    snmp::Counters counts{};  // by the number of the object in the group snmp
    static std::unique_ptr<snmp::Data> read();
};

std::unique_ptr<snmp::Data> Messages::read() {
    auto record = std::make_unique<Messages>();
    snmp::Counters& counts = record->counts;
    const snmp::Statistics& all = snmp::statistics;
    const auto sum = [](std::initializer_list<Counter> counters) {
        unsigned long long total = 0;
        for (const Counter counter : counters) total += snmp::statistics.counters[counter];
        return total;
    };
    const auto errors = [](ErrorStatus status) { return snmp::statistics.errors[static_cast<size_t>(status)]; };
    // The request that is being answered hasn't a result yet.
    counts[1] = 1 + sum({Counter::Answered, Counter::Errors, Counter::Reports, Counter::Dropped});
    counts[2] = sum({Counter::Answered, Counter::Errors, Counter::Reports, Counter::TrapsSent, Counter::InformsSent});
    counts[3] = sum({Counter::UnknownVersion});
    counts[4] = sum({Counter::NoCommunity, Counter::NeedsV3});
    counts[5] = all.forbiddenUses;
    counts[6] = sum({Counter::Malformed});
    counts[13] = all.retrieved;
    counts[14] = all.written;
    counts[15] = sum({Counter::Get});
    counts[16] = sum({Counter::GetNext});
    counts[17] = sum({Counter::Set});
    counts[18] = sum({Counter::InformsAcknowledged});
    counts[20] = errors(ErrorStatus::TooBig);
    counts[21] = errors(ErrorStatus::NoSuchName);
    counts[22] = errors(ErrorStatus::BadValue);
    counts[24] = errors(ErrorStatus::GenErr);
    counts[28] = sum({Counter::Answered, Counter::Errors});
    counts[29] = sum({Counter::TrapsSent});
    counts[31] = sum({Counter::NotSendable});
    return record;
}

constexpr snmp::Element<Messages> at(size_t number) { return {&Messages::counts, number}; }
constexpr snmp::Constant kNever{0};  // the agent doesn't receive, send or forward such messages

constexpr auto kSnmp = snmp::under(snmp::kMib2, 11);
constexpr snmp::Column<Messages> kSnmpObjects[] = {
    {1, "snmpInPkts", tag::Counter32, at(1)},
    {2, "snmpOutPkts", tag::Counter32, at(2)},
    {3, "snmpInBadVersions", tag::Counter32, at(3)},
    {4, "snmpInBadCommunityNames", tag::Counter32, at(4)},
    {5, "snmpInBadCommunityUses", tag::Counter32, at(5)},
    {6, "snmpInASNParseErrs", tag::Counter32, at(6)},
    {13, "snmpInTotalReqVars", tag::Counter32, at(13)},
    {14, "snmpInTotalSetVars", tag::Counter32, at(14)},
    {15, "snmpInGetRequests", tag::Counter32, at(15)},
    {16, "snmpInGetNexts", tag::Counter32, at(16)},
    {17, "snmpInSetRequests", tag::Counter32, at(17)},
    {18, "snmpInGetResponses", tag::Counter32, at(18)},  // acknowledgements of informs
    {19, "snmpInTraps", tag::Counter32, kNever},
    {20, "snmpOutTooBigs", tag::Counter32, at(20)},
    {21, "snmpOutNoSuchNames", tag::Counter32, at(21)},
    {22, "snmpOutBadValues", tag::Counter32, at(22)},
    {24, "snmpOutGenErrs", tag::Counter32, at(24)},
    {25, "snmpOutGetRequests", tag::Counter32, kNever},
    {26, "snmpOutGetNexts", tag::Counter32, kNever},
    {27, "snmpOutSetRequests", tag::Counter32, kNever},
    {28, "snmpOutGetResponses", tag::Counter32, at(28)},
    {29, "snmpOutTraps", tag::Counter32, at(29)},
    {30, "snmpEnableAuthenTraps", tag::Integer, snmp::Constant{2}},  // disabled: the agent has no such trap
    {31, "snmpSilentDrops", tag::Counter32, at(31)},
    {32, "snmpProxyDrops", tag::Counter32, kNever},
};
static_assert(ascending(kSnmpObjects));

struct Engine : snmp::Data {
    std::string id;
    unsigned int boots = 0;
    unsigned int time = 0;  // seconds
    static std::unique_ptr<snmp::Data> read() {
        const snmp::V3ServerInfo& server = snmp::loop->v3Server();
        if (server.engineId.empty()) return nullptr;  // SNMPv3 isn't set up
        auto record = std::make_unique<Engine>();
        record->id = server.engineId;
        record->boots = server.engineBoots;
        record->time = server.engineTime();
        return record;
    }
};

constexpr auto kSnmpModules = snmp::under(snmp::kInternet, 6, 3);
constexpr auto kSnmpEngine = snmp::under(kSnmpModules, 10, 2, 1);
constexpr snmp::Column<Engine> kEngineObjects[] = {
    {1, "snmpEngineID", tag::OctetString, &Engine::id},
    {2, "snmpEngineBoots", tag::Integer, &Engine::boots},
    {3, "snmpEngineTime", tag::Integer, &Engine::time},
    {4, "snmpEngineMaxMessageSize", tag::Integer, snmp::Constant{static_cast<int>(snmp::kMaxMessage)}},
};
static_assert(ascending(kEngineObjects));

struct Refusals : snmp::Data {
    unsigned int securityModels = 0, invalidMessages = 0, pduHandlers = 0, contexts = 0;
    static std::unique_ptr<snmp::Data> read() {
        const auto count = [](snmp::V3Error error) { return snmp::Context::v3counters[static_cast<size_t>(error)]; };
        auto record = std::make_unique<Refusals>();
        record->securityModels = count(snmp::V3Error::UnknownSecurityModel);
        record->invalidMessages = count(snmp::V3Error::InvalidMessage);
        record->pduHandlers = count(snmp::V3Error::UnknownPduHandler);
        record->contexts = count(snmp::V3Error::UnknownContext);
        return record;
    }
};

// Without --standard, the agent doesn't check these, and the counters stay 0.
constexpr snmp::Column<Refusals> kMpdObjects[] = {
    {1, "snmpUnknownSecurityModels", tag::Counter32, &Refusals::securityModels},
    {2, "snmpInvalidMsgs", tag::Counter32, &Refusals::invalidMessages},
    {3, "snmpUnknownPDUHandlers", tag::Counter32, &Refusals::pduHandlers},
};
static_assert(ascending(kMpdObjects));
constexpr snmp::Column<Refusals> kTargetObjects[] = {
    {5, "snmpUnknownContexts", tag::Counter32, &Refusals::contexts},
};

}  // namespace

void startSnmp() {
    snmp::addScalars(kSnmp, kSnmpObjects, snmp::keep<snmp::ProxyDataProvider>(Messages::read));
    snmp::addScalars(kSnmpEngine, kEngineObjects, snmp::keep<snmp::ProxyDataProvider>(Engine::read));
    auto* refusals = snmp::keep<snmp::ProxyDataProvider>(Refusals::read);
    snmp::addScalars(snmp::kMpdStats, kMpdObjects, refusals);
    snmp::addScalars(snmp::kTargetObjects, kTargetObjects, refusals);
}

}  // namespace mib2
