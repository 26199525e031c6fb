// system (RFC 3418).

#include "agent/modules/system_module.h"

#include <sys/stat.h>

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/request_writes.h"
#include "agent/system/settings.h"
#include "contracts/object_class.h"
#include "contracts/system.h"
#include "tn/looper.h"
#include "tn/paths.h"

namespace snmp {

namespace {

namespace identity = contracts::identity;
namespace object_class = contracts::object_class;
namespace system_info = contracts::system_info;

// Records.

struct Uptime : Data {
    unsigned int uptime = 0;  // hundredths of a second
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Ident : Data {
    std::string name;
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Snmpdat : Data {
    std::string contact;
    std::string location;
};

// Build functions.

std::unique_ptr<Data> Uptime::build(const tn::message& m) {
    auto record = std::make_unique<Uptime>();
    record->uptime = m.get_u32(system_info::Uptime) * 100;
    return record;
}

std::unique_ptr<Data> Ident::build(const tn::message& m) {
    auto record = std::make_unique<Ident>();
    record->name = m.get_string(identity::Name);
    return record;
}

/// sysContact and sysLocation, which are settings of the agent. A Set changes the settings.
class SnmpdatProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() override {
        const tn::message* written = changes_.waiting();
        const tn::message config = written != nullptr ? *written : tn::getLooper()->getObject(tn::kNoId);
        auto record = std::make_unique<Snmpdat>();
        record->contact = config.get_string(setting::Contact);
        record->location = config.get_string(setting::Location);
        return record;
    }
    bool set(Data* data) override {
        const auto& record = static_cast<const Snmpdat&>(*data);
        tn::message request = tn::request(tn::getLooper()->path(), tn::cmd::Set);
        request.insert_string(setting::Contact, record.contact);
        request.insert_string(setting::Location, record.location);
        changes_.set(std::move(request));
        return true;
    }
    std::string source() const override { return pathText(tn::getLooper()->path()) + ", its settings"; }

  private:
    static bool write(const tn::message& request) {
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) swarn << "settings not written: " << tn::getError(reply);
        return !tn::isError(reply);
    }

    WriteOnce changes_{write};
};

// Objects.

constexpr auto kSystem = under(kMib2, 1);
constexpr Column<Uptime> kUptimeObject[] = {{3, "sysUpTime", tag::TimeTicks, &Uptime::uptime}};  // compat: 67
constexpr Column<Snmpdat> kContactObject[] = {
    {4, "sysContact", tag::OctetString, &Snmpdat::contact, Access::ReadWrite}};
constexpr Column<Ident> kNameObject[] = {{5, "sysName", tag::OctetString, &Ident::name}};
constexpr Column<Snmpdat> kLocationObject[] = {
    {6, "sysLocation", tag::OctetString, &Snmpdat::location, Access::ReadWrite}};
constexpr Column<Data> kServicesObject[] = {
    {7, "sysServices", tag::Integer, Constant{78}},  // compat: 68, layers 2, 3, 4 and 7
};

// Start.

std::string systemDescription() {  // compat: 78
    const tn::message reply = tn::getLooper()->exchangeMessage(tn::request(system_info::kPath, tn::cmd::Get));
    if (tn::isError(reply)) soutWarn << "exchangeCmd ID_SYSTEM ID_SYSINFO: " << tn::getError(reply);
    return "Tarnix " + reply.get_string(system_info::Version);
}

/// The vendor's OID, or 0.0 if a marker file exists: some managers cope better with no vendor than with an unknown one.
OID systemObjectId() {
    struct stat marker {};
    if (stat(tn::rooted("/etc/snmp_no_sysObjectID").c_str(), &marker) == 0) return {0, 0};
    return OID(under(kVendor, 1));
}

DataProvider* owner(BuildFunction build, std::span<const uint32_t> path) {
    return keep<GetProvider>(build, path, tn::cmd::Get, tn::cmd::Set, object_class::kWhole);
}

}  // namespace

void start_system_module() {
    DataProvider* settings = keep<SnmpdatProvider>();
    const std::string description = systemDescription();
    const OID objectId = systemObjectId();
    const Column<Data> fixed[] = {{1, "sysDescr", tag::OctetString, ConstantText{description}},
                                  {2, "sysObjectID", tag::ObjectIdentifier, ConstantOID{objectId}}};
    addScalars(kSystem, fixed, nullptr);
    addScalars(kSystem, kUptimeObject, owner(Uptime::build, system_info::kPath));
    addScalars(kSystem, kContactObject, settings);
    addScalars(kSystem, kNameObject, owner(Ident::build, identity::kPath));
    addScalars(kSystem, kLocationObject, settings);
    addScalars(kSystem, kServicesObject, nullptr);
}

}  // namespace snmp
