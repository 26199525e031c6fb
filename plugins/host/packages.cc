// hrSWInstalled (RFC 2790): the packages that dpkg has installed.
//
//     hrSWInstalledTable    INDEX { hrSWInstalledIndex }

#include "agent/mib/date_and_time.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/time_ticks.h"
#include "contracts/host.h"
#include "contracts/object_class.h"
#include "host.h"

namespace host {

namespace {

namespace packages = contracts::packages;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Package : snmp::Data {
    unsigned int index = 0;
    std::string name;
    unsigned int type = 0;
    std::vector<unsigned char> date;
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

struct Changes : snmp::Data {
    unsigned int last = 0, checked = 0;  // sysUpTime
    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto record = std::make_unique<Changes>();
        record->last = snmp::timeTicks(std::chrono::milliseconds(m.get_u64(packages::Changed)));
        record->checked = snmp::timeTicks(std::chrono::milliseconds(m.get_u64(packages::Checked)));
        return record;
    }
};

std::unique_ptr<snmp::Data> Package::build(const tn::message& m) {
    constexpr unsigned int kOperatingSystem = 2, kApplication = 4;
    auto record = std::make_unique<Package>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(packages::Name).substr(0, kMaxName);
    record->type = m.get_bool(packages::System) ? kOperatingSystem : kApplication;
    if (const auto seconds = static_cast<time_t>(m.get_u64(packages::Installed)); seconds != 0) {
        tm local{};
        localtime_r(&seconds, &local);
        record->date = snmp::dateAndTime(local, static_cast<int32_t>(local.tm_gmtoff));
    } else {
        record->date = {0, 0, 1, 1, 0, 0, 0, 0};  // by which the MIB says that it isn't known
    }
    return record;
}

constexpr auto kInstalled = snmp::under(kHost, 6);
constexpr snmp::Column<Changes> kChanges[] = {
    {1, "hrSWInstalledLastChange", tag::TimeTicks, &Changes::last},
    {2, "hrSWInstalledLastUpdateTime", tag::TimeTicks, &Changes::checked},
};

constexpr auto kEntry = snmp::under(kInstalled, 3, 1);
constexpr snmp::Column<Package> kColumns[] = {
    {1, "hrSWInstalledIndex", tag::Integer, &Package::index},
    {2, "hrSWInstalledName", tag::OctetString, &Package::name},
    {3, "hrSWInstalledID", tag::ObjectIdentifier, snmp::ConstantOID{snmp::kZeroDotZero}},
    {4, "hrSWInstalledType", tag::Integer, &Package::type},
    {5, "hrSWInstalledDate", tag::OctetString, &Package::date},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startPackages() {
    auto* changes = snmp::keep<snmp::GetProvider>(Changes::build, packages::kPath, tn::cmd::Get, tn::cmd::Set, kWhole);
    snmp::addScalars(kInstalled, kChanges, changes);
    auto* rows = snmp::keep<snmp::GetAllProvider>(packages::kPath, snmp::oneRow<Package::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "hrSWInstalledEntry", table, kColumns);
}

}  // namespace host
