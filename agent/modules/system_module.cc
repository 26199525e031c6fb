// system (RFC 3418), hrSystem and hrMemorySize (RFC 2790), and the vendor's system control. No tables.

#include "agent/modules/system_module.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/data_provider.h"
#include "agent/mib/keep.h"
#include "agent/system/settings.h"
#include "tn/looper.h"
#include "tn/paths.h"

namespace snmp {

namespace {

// Owners.
const std::vector<uint32_t> kReboot = {24};
const std::vector<uint32_t> kTime = {24, 0};
const std::vector<uint32_t> kIdentity = {24, 1};
const std::vector<uint32_t> kSystemInfo = {24, 2};
const std::vector<uint32_t> kUsb = {99, 6};
constexpr uint32_t kResetUsb = 1;     // command to {99, 6}
constexpr uint32_t kWholeObject = 5;  // object class of every get here

// Records.

struct Sysinfo : Data {
    unsigned int uptime = 0;       // hundredths of a second
    unsigned int memoryTotal = 0;  // KiB
    unsigned int memoryUsed = 0;   // KiB
    unsigned int diskTotal = 0;    // KiB
    unsigned int diskUsed = 0;     // KiB
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Systime : Data {
    std::vector<unsigned char> dateAndTime;  // 11 octets, DateAndTime (RFC 2579)
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Ident : Data {
    std::string name;
    static std::unique_ptr<Data> build(const tn::message& m);
};

/// What is written here happens; what is read is always 0.
struct TheSystem : Data {
    unsigned int reboot = 0;
    unsigned int usbReset = 0;
    static std::unique_ptr<Data> build(const tn::message&) { return std::make_unique<TheSystem>(); }
    void reverseBuild(tn::message& m) override;
};

struct Snmpdat : Data {
    std::string contact;
    std::string location;
};

// Build functions.

std::unique_ptr<Data> Sysinfo::build(const tn::message& m) {
    auto record = std::make_unique<Sysinfo>();
    record->uptime = m.get_u32(1) * 100;
    record->memoryTotal = m.get_u32(2);
    record->memoryUsed = record->memoryTotal - m.get_u32(3);
    record->diskTotal = m.get_u32(10);
    record->diskUsed = record->diskTotal - m.get_u32(11);
    return record;
}

std::unique_ptr<Data> Systime::build(const tn::message& m) {
    const time_t seconds = m.get_u32(7);
    const auto offset = static_cast<int32_t>(m.get_u32(27));  // seconds east of UTC
    tm local{};
    localtime_r(&seconds, &local);
    const auto year = static_cast<unsigned>(local.tm_year + 1900);
    const auto distance = static_cast<unsigned>(std::abs(offset));
    const unsigned octets[] = {year >> 8,
                               year & 0xff,
                               static_cast<unsigned>(local.tm_mon + 1),
                               static_cast<unsigned>(local.tm_mday),
                               static_cast<unsigned>(local.tm_hour),
                               static_cast<unsigned>(local.tm_min),
                               static_cast<unsigned>(local.tm_sec),
                               0,  // deci-seconds
                               static_cast<unsigned>(offset < 0 ? '-' : '+'),
                               distance / 3600,
                               distance / 60 % 60};
    auto record = std::make_unique<Systime>();
    for (const unsigned octet : octets) record->dateAndTime.push_back(static_cast<unsigned char>(octet));
    return record;
}

std::unique_ptr<Data> Ident::build(const tn::message& m) {
    auto record = std::make_unique<Ident>();
    record->name = m.get_string(12);
    return record;
}

void TheSystem::reverseBuild(tn::message&) {
    if (reboot != 0) {
        serr << "TheSystem::REBOOT";
        (void)tn::getLooper()->exchangeMessage(tn::request(kReboot, tn::cmd::Reboot));
    }
    if (usbReset != 0) {
        serr << "TheSystem usb reset";
        tn::message request = tn::request(kUsb, kResetUsb);
        request.insert_u32(1, usbReset);
        const tn::message reply = tn::getLooper()->exchangeMessage(std::move(request));
        if (tn::isError(reply)) sout << reply;
    }
}

/// sysContact and sysLocation are the agent's own settings; writing them changes the settings.
class SnmpdatProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() override {
        const tn::message config = tn::getLooper()->getObject(tn::kNoId);
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
        return !tn::isError(tn::getLooper()->exchangeMessage(std::move(request)));
    }
};

// Objects.

constexpr auto kSystem = under(kMib2, 1);
constexpr auto kHost = under(kMib2, 25);
constexpr auto kHrSystem = under(kHost, 1);
constexpr auto kHrStorage = under(kHost, 2);
constexpr auto kSystemControl = under(kVendorObjects, 7);

constexpr Column<TheSystem> kControlObjects[] = {
    {1, "systemReboot", tag::Integer, &TheSystem::reboot},
    {2, "systemUsbReset", tag::Integer, &TheSystem::usbReset},
};
constexpr Column<Sysinfo> kUptimeObject[] = {{3, "sysUpTime", tag::TimeTicks, &Sysinfo::uptime}};
constexpr Column<Snmpdat> kContactObject[] = {{4, "sysContact", tag::OctetString, &Snmpdat::contact}};
constexpr Column<Ident> kNameObject[] = {{5, "sysName", tag::OctetString, &Ident::name}};
constexpr Column<Snmpdat> kLocationObject[] = {{6, "sysLocation", tag::OctetString, &Snmpdat::location}};
constexpr int kSysServices = 78;  // layers 2, 3, 4 and 7

constexpr Column<Sysinfo> kHrUptimeObject[] = {{1, "hrSystemUptime", tag::TimeTicks, &Sysinfo::uptime}};
constexpr Column<Systime> kHrDateObject[] = {{2, "hrSystemDate", tag::OctetString, &Systime::dateAndTime}};
constexpr Column<Sysinfo> kHrMemoryObject[] = {{2, "hrMemorySize", tag::Integer, &Sysinfo::memoryTotal}};

// Start.

std::string systemDescription() {
    const tn::message reply = tn::getLooper()->exchangeMessage(tn::request(kSystemInfo, tn::cmd::Get));
    if (tn::isError(reply)) sout << "exchangeCmd ID_SYSTEM ID_SYSINFO: " << tn::getError(reply);
    return "Tarnix " + reply.get_string(25);
}

/// The vendor's OID, unless a marker file asks for none: some managers treat unknown vendors better that way.
OID systemObjectId() {
    struct stat marker {};
    if (stat(tn::rooted("/etc/snmp_no_sysObjectID").c_str(), &marker) == 0) return {0, 0};
    return OID(under(kVendor, 1));
}

DataProvider* owner(BuildFunction build, const std::vector<uint32_t>& path) {
    return keep<GetProvider>(build, path, tn::cmd::Get, tn::cmd::Set, kWholeObject);
}

}  // namespace

void start_system_module() {
    DataProvider* sysinfo = owner(Sysinfo::build, kSystemInfo);
    DataProvider* settings = keep<SnmpdatProvider>();

    addScalars(kSystemControl, kControlObjects, owner(TheSystem::build, kSystemInfo));

    addScalarConstStringLeaf(OID(kSystem) + 1, systemDescription(), tag::OctetString);
    addScalarConstOIDLeaf(OID(kSystem) + 2, systemObjectId(), tag::ObjectIdentifier);
    addScalars(kSystem, kUptimeObject, sysinfo);
    addScalars(kSystem, kContactObject, settings);
    addScalars(kSystem, kNameObject, owner(Ident::build, kIdentity));
    addScalars(kSystem, kLocationObject, settings);
    addScalarConstNumLeaf(OID(kSystem) + 7, kSysServices, tag::Integer);

    addScalars(kHrStorage, kHrMemoryObject, sysinfo);
    addScalars(kHrSystem, kHrUptimeObject, sysinfo);
    addScalars(kHrSystem, kHrDateObject, owner(Systime::build, kTime));
}

}  // namespace snmp
