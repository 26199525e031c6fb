// system (RFC 3418), hrSystem, hrStorage and hrDevice (RFC 2790), and the vendor's system control, scripts and
// neighbours.
//
//     hrStorageTable      INDEX { hrStorageIndex }     main memory and disks
//     hrDeviceTable       INDEX { hrDeviceIndex }      processors only
//     hrProcessorTable    INDEX { hrDeviceIndex }
//     vendor scripts      INDEX { script id }
//     vendor neighbours   INDEX { neighbour id }

#include "agent/modules/system_module.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/data_provider.h"
#include "agent/mib/get_all_multi_provider.h"
#include "agent/mib/get_all_provider.h"
#include "agent/mib/keep.h"
#include "agent/mib/request_writes.h"
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
const std::vector<uint32_t> kScripts = {48, 101};
const std::vector<uint32_t> kNeighbors = {10, 1};
const std::vector<uint32_t> kDisks = {79, 2};
constexpr uint32_t kResetUsb = 1;     // command to {99, 6}
constexpr uint32_t kRunScript = 1;    // command to {48, 101}
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

struct Cpu : Data {
    unsigned int id = 0;
    unsigned int load = 0;  // percent since the last reading
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct Storage : Data {
    unsigned int index = 0;
    OID type;
    std::string descr;
    unsigned int size = 0;  // KiB
    unsigned int used = 0;  // KiB
    static void buildRam(Rows& rows);
    static std::unique_ptr<Data> buildHd(const tn::message& m);
};

/// Writing run starts the script; writing name renames it.
struct Script : Data {
    unsigned int id = 0;
    unsigned int run = 0;
    std::string name;
    static std::unique_ptr<Data> build(const tn::message& m);
    void reverseBuild(tn::message& m) override;
};

struct Neighbor : Data {
    unsigned int id = 0;
    unsigned int address = 0;
    std::vector<unsigned char> mac;
    std::string identity, platform, version, port;
    static std::unique_ptr<Data> build(const tn::message& m);
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
    tzset();  // localtime_r alone doesn't notice a change of the time zone
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
        RequestWrites::writeNow();  // before the machine goes down
        (void)tn::getLooper()->exchangeMessage(tn::request(kReboot, tn::cmd::Reboot));
    }
    if (usbReset != 0) {
        serr << "TheSystem usb reset";
        tn::message request = tn::request(kUsb, kResetUsb);
        request.insert_u32(1, usbReset);
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) sout << reply;
    }
}

std::unique_ptr<Data> Cpu::build(const tn::message& m) {
    auto record = std::make_unique<Cpu>();
    record->id = m.get_u32(tn::field::ObjectId, tn::kNoId);
    record->load = m.get_u32(9);
    return record;
}

// hrStorageTypes (RFC 2790). Main memory carries { hrStorageTypes 1 }, on purpose.
constexpr auto kHrStorageTypes = under(kMib2, 25, 2, 1);
constexpr auto kHrStorageRam = under(kHrStorageTypes, 1);
constexpr auto kHrStorageFixedDisk = under(kHrStorageTypes, 4);
constexpr auto kHrDeviceProcessor = under(kMib2, 25, 3, 1, 3);

// hrStorageIndex: memory first, then the disks by their owner's ids.
constexpr uint32_t kRamIndex = 0x10000;
constexpr uint32_t kDiskIndexes = 0x20000;

std::unique_ptr<Data> Storage::buildHd(const tn::message& m) {
    auto record = std::make_unique<Storage>();
    record->index = m.get_u32(tn::field::ObjectId) | kDiskIndexes;
    record->type = OID(kHrStorageFixedDisk);
    const std::string name = m.get_string(1);
    record->descr = name.empty() ? "disk" : "disk: " + name;
    record->size = m.get_u32(5);
    record->used = record->size - m.get_u32(6);
    return record;
}

std::unique_ptr<Data> Script::build(const tn::message& m) {
    auto record = std::make_unique<Script>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(102);
    return record;
}

void Script::reverseBuild(tn::message& m) {
    m.insert_u32(tn::field::ObjectId, id);
    if (run != 0) {
        serr << "Run, FOREST, run!";
        m.insert_u32(tn::field::Command, kRunScript);
    } else {
        m.insert_string(102, name);
    }
}

std::unique_ptr<Data> Neighbor::build(const tn::message& m) {
    auto record = std::make_unique<Neighbor>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->address = m.get_be32(1);
    record->mac = m.get_raw(2);
    record->identity = m.get_string(7);
    record->platform = m.get_string(8);
    record->version = m.get_string(6);
    record->port = m.get_string(11);
    return record;
}

/// sysContact and sysLocation are the agent's own settings; writing them changes the settings.
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

  private:
    static void write(const tn::message& request) {
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) serr << "settings not written: " << tn::getError(reply);
    }

    WriteOnce changes_{write};
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

// hrStorageEntry
constexpr Column<Storage> kStorageColumns[] = {
    {1, "hrStorageIndex", tag::Integer, &Storage::index},
    {2, "hrStorageType", tag::ObjectIdentifier, &Storage::type},
    {3, "hrStorageDescr", tag::OctetString, &Storage::descr},
    {4, "hrStorageAllocationUnits", tag::Integer, Constant{1024}},  // the owners count in KiB
    {5, "hrStorageSize", tag::Integer, &Storage::size},
    {6, "hrStorageUsed", tag::Integer, &Storage::used},
    {7, "hrStorageAllocationFailures", tag::Counter32, Constant{0}},  // nobody counts them
};
static_assert(ascending(kStorageColumns));

constexpr auto kHrDevice = under(kHost, 3);
constexpr Column<Cpu> kProcessorColumns[] = {{2, "hrProcessorLoad", tag::Integer, &Cpu::load}};
constexpr Column<Cpu> kDeviceColumns[] = {
    {1, "hrDeviceIndex", tag::Integer, &Cpu::id},
    {2, "hrDeviceType", tag::ObjectIdentifier, ConstantOID{kHrDeviceProcessor}},
};
static_assert(ascending(kDeviceColumns));

constexpr auto kScriptEntry = under(kVendorObjects, 8, 1, 1);
constexpr Column<Script> kScriptIndex = {1, "scriptIndex", tag::Integer, &Script::id};  // not served
constexpr Column<Script> kScriptColumns[] = {
    {2, "scriptName", tag::OctetString, &Script::name},
    {3, "scriptRun", tag::Integer, &Script::run},
};
static_assert(ascending(kScriptColumns));

constexpr auto kNeighborEntry = under(kVendorObjects, 11, 1, 1);
constexpr Column<Neighbor> kNeighborIndex = {1, "neighborIndex", tag::Integer, &Neighbor::id};  // not served
constexpr Column<Neighbor> kNeighborColumns[] = {
    {2, "neighborIpAddress", tag::IpAddress, &Neighbor::address},
    {3, "neighborMacAddress", tag::OctetString, &Neighbor::mac},
    {4, "neighborIdentity", tag::OctetString, &Neighbor::identity},
    {5, "neighborPlatform", tag::OctetString, &Neighbor::platform},
    {6, "neighborVersion", tag::OctetString, &Neighbor::version},
    {7, "neighborInterface", tag::OctetString, &Neighbor::port},
};
static_assert(ascending(kNeighborColumns));

// Start.

DataProvider* sysinfo = nullptr;

/// Main memory: one row, whatever its owner says.
void Storage::buildRam(Rows& rows) {
    const std::unique_ptr<Data> record = sysinfo->get();
    const auto& memory = static_cast<const Sysinfo&>(*record);
    auto row = std::make_unique<Storage>();
    row->index = kRamIndex;
    row->type = OID(kHrStorageRam);
    row->descr = "main memory";
    row->size = memory.memoryTotal;
    row->used = memory.memoryUsed;
    rows.push_back(std::move(row));
}

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

template <std::unique_ptr<Data> (*Build)(const tn::message&)>
TableProvider* rowsOf(const std::vector<uint32_t>& path) {
    return keep<GetAllProvider>(path, oneRow<Build>, kWholeObject);
}

/// A table over an owner's rows, indexed by their ids.
template <class Record>
MapTable* tableOf(TableProvider* provider, const Column<Record>& index) {
    return keepTable(provider, {{packerFor(index), tn::field::ObjectId.number}});
}

}  // namespace

void start_system_module() {
    sysinfo = owner(Sysinfo::build, kSystemInfo);
    DataProvider* settings = keep<SnmpdatProvider>();

    addScalars(kSystemControl, kControlObjects, owner(TheSystem::build, kSystemInfo));

    MapTable* scripts = tableOf(rowsOf<Script::build>(kScripts), kScriptIndex);
    addColumns(addColumnarBranch(OID(kScriptEntry), scripts), kScriptColumns);
    MapTable* neighbors = tableOf(rowsOf<Neighbor::build>(kNeighbors), kNeighborIndex);
    addColumns(addColumnarBranch(OID(kNeighborEntry), neighbors), kNeighborColumns);

    addScalarConstStringLeaf(OID(kSystem) + 1, systemDescription(), tag::OctetString);
    addScalarConstOIDLeaf(OID(kSystem) + 2, systemObjectId(), tag::ObjectIdentifier);
    addScalars(kSystem, kUptimeObject, sysinfo);
    addScalars(kSystem, kContactObject, settings);
    addScalars(kSystem, kNameObject, owner(Ident::build, kIdentity));
    addScalars(kSystem, kLocationObject, settings);
    addScalarConstNumLeaf(OID(kSystem) + 7, kSysServices, tag::Integer);

    auto* storage = keep<GetAllMultiProvider>();
    storage->addSource(Storage::buildRam, kRamIndex);
    storage->addSource(oneRow<Storage::buildHd>, kDisks, kWholeObject, kDiskIndexes);
    addColumns(addColumnarBranch(OID(under(kHrStorage, 3, 1)), tableOf(storage, kStorageColumns[0])), kStorageColumns);
    addScalars(kHrStorage, kHrMemoryObject, sysinfo);
    addScalars(kHrSystem, kHrUptimeObject, sysinfo);
    addScalars(kHrSystem, kHrDateObject, owner(Systime::build, kTime));

    MapTable* processors = tableOf(rowsOf<Cpu::build>(kSystemInfo), kDeviceColumns[0]);
    addColumns(addColumnarBranch(OID(under(kHrDevice, 3, 1)), processors), kProcessorColumns);
    addColumns(addColumnarBranch(OID(under(kHrDevice, 2, 1)), processors), kDeviceColumns);
}

}  // namespace snmp
