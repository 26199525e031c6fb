#include "agent/modules/usm_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/context.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/security/v3_errors.h"

namespace snmp {

namespace {

struct UsmStats : Data {
    unsigned int unsupportedSecLevels = 0;
    unsigned int notInTimeWindows = 0;
    unsigned int unknownUserNames = 0;
    unsigned int unknownEngineIds = 0;
    unsigned int wrongDigests = 0;
    unsigned int decryptionErrors = 0;

    static std::unique_ptr<Data> read() {
        auto stats = std::make_unique<UsmStats>();
        const auto count = [](V3Error error) { return Context::v3counters[static_cast<size_t>(error)]; };
        stats->unsupportedSecLevels = count(V3Error::UnsupportedLevel);
        stats->notInTimeWindows = count(V3Error::NotInTimeWindow);
        stats->unknownUserNames = count(V3Error::UnknownUserName);
        stats->unknownEngineIds = count(V3Error::UnknownEngineId);
        stats->wrongDigests = count(V3Error::WrongDigest);
        stats->decryptionErrors = count(V3Error::DecryptionError);
        return stats;
    }
};

constexpr Column<UsmStats> kObjects[] = {
    {1, "usmStatsUnsupportedSecLevels", tag::Counter32, &UsmStats::unsupportedSecLevels},
    {2, "usmStatsNotInTimeWindows", tag::Counter32, &UsmStats::notInTimeWindows},
    {3, "usmStatsUnknownUserNames", tag::Counter32, &UsmStats::unknownUserNames},
    {4, "usmStatsUnknownEngineIDs", tag::Counter32, &UsmStats::unknownEngineIds},
    {5, "usmStatsWrongDigests", tag::Counter32, &UsmStats::wrongDigests},
    {6, "usmStatsDecryptionErrors", tag::Counter32, &UsmStats::decryptionErrors},
};
static_assert(ascending(kObjects));

}  // namespace

void start_usm_module() { addScalars(kUsmStats, kObjects, keep<ProxyDataProvider>(UsmStats::read)); }

}  // namespace snmp
