// entPhysicalTable (RFC 4133).
//
//     entPhysicalTable    INDEX { entPhysicalIndex }    the chassis, PCI devices, USB devices
//
// entPhysicalAlias and entPhysicalAssetID of the chassis are writable.

#include "agent/modules/entity_module.h"

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "agent/mib/request_writes.h"
#include "contracts/devices.h"
#include "contracts/object_class.h"
#include "contracts/system.h"
#include "tn/looper.h"
#include "tn/store.h"

namespace snmp {

namespace {

namespace object_class = contracts::object_class;
namespace pci_devices = contracts::pci_devices;
namespace system_info = contracts::system_info;
namespace usb_devices = contracts::usb_devices;

// entPhysicalIndex of a device is its id at its owner, with these bits set.
constexpr uint32_t kPciIndexes = 0x20000;
constexpr uint32_t kUsbIndexes = 0x40000;

struct Resource : Entity {
    void readKept(const tn::message& kept);
    static void chassis(Rows& rows);
    static bool writeChassis(const Data& row);
    static std::unique_ptr<Data> buildPCI(const tn::message& m);
    static std::unique_ptr<Data> buildUSB(const tn::message& m);
};

// Alias and asset id are stored in this record, with these fields.
constexpr uint32_t kChassisRecord = 0xfffffffe;
constexpr tn::string_id kAssetId{1};
constexpr tn::string_id kAlias{2};
constexpr unsigned int kMaxKept = 32;  // octets of each

std::unique_ptr<tn::Store> openedStore;

GetAllMultiProvider* entities = nullptr;  ///< the rows of entPhysicalTable

tn::Store& entityStore() {
    if (openedStore == nullptr) {
        openedStore = std::make_unique<tn::Store>("/tern/store/snmp_entity", 5);
        openedStore->recoversFromReads();
    }
    return *openedStore;
}

bool writeKept(const tn::message& kept) {
    const tn::message before = entityStore().get(kChassisRecord);
    const auto isSame = [&](tn::string_id text) { return before.get_string(text) == kept.get_string(text); };
    if (isSame(kAssetId) && isSame(kAlias)) return true;
    if (entityStore().set(kChassisRecord, kept)) return true;
    swarn << "alias and asset id not written: " << entityStore().lastError();
    return false;
}

WriteOnce chassisChanges(writeKept);

// Build functions.

void Resource::readKept(const tn::message& kept) {
    assetId = kept.get_string(kAssetId);
    alias = kept.get_string(kAlias);
}

void Resource::chassis(Rows& rows) {
    auto record = std::make_unique<Resource>();
    if (const tn::message* written = chassisChanges.waiting()) {
        record->readKept(*written);
    } else {
        record->readKept(entityStore().get(kChassisRecord));
    }
    record->index = kChassisIndex;
    record->physicalClass = static_cast<unsigned int>(PhysicalClass::Chassis);
    record->containedIn = 0;

    const tn::message system = tn::getLooper()->exchangeMessage(tn::request(system_info::kPath, tn::cmd::Get));
    if (tn::isError(system)) soutWarn << "exchangeCmd ID_SYSTEM ID_SYSINFO: " << tn::getError(system);  // compat: 106
    record->descr =
        "Tarnix " + system.get_string(system_info::Release) + " on " + system.get_string(system_info::Version);
    record->name = system.get_string(system_info::Model);
    rows.push_back(std::move(record));
}

bool Resource::writeChassis(const Data& row) {
    const auto& record = static_cast<const Resource&>(row);
    tn::message kept;
    kept.insert_string(kAssetId, record.assetId);
    kept.insert_string(kAlias, record.alias);
    chassisChanges.set(std::move(kept));
    return true;
}

std::unique_ptr<Data> Resource::buildPCI(const tn::message& m) {
    auto record = std::make_unique<Resource>();
    record->index = m.get_u32(tn::field::ObjectId, tn::kNoId) | kPciIndexes;
    record->name = m.get_string(pci_devices::Name);
    record->descr = m.get_string(pci_devices::Maker) + " " + m.get_string(pci_devices::Model);
    record->mfgName = m.get_string(pci_devices::MakerName);
    record->modelName = m.get_string(pci_devices::ModelName);
    return record;
}

std::unique_ptr<Data> Resource::buildUSB(const tn::message& m) {
    auto record = std::make_unique<Resource>();
    record->index = m.get_u32(tn::field::ObjectId) | kUsbIndexes;
    record->name = m.get_string(usb_devices::Name);
    record->descr = m.get_string(usb_devices::Maker) + " " + m.get_string(usb_devices::Product);
    record->serial = m.get_string(usb_devices::Serial);
    record->mfgName = m.get_string(usb_devices::MakerName);
    record->modelName = m.get_string(usb_devices::ModelName);
    return record;
}

// Objects.

// entPhysicalEntry
constexpr auto kPhysicalEntry = under(kMib2, 47, 1, 1, 1, 1);
constexpr Column<Entity> kPhysicalColumns[] = {
    {1, "entPhysicalIndex", tag::Integer, &Entity::index},  // compat: 72
    {2, "entPhysicalDescr", tag::OctetString, &Entity::descr},
    {3, "entPhysicalVendorType", tag::ObjectIdentifier, ConstantOID{kZeroDotZero}},
    {4, "entPhysicalContainedIn", tag::Integer, &Entity::containedIn},
    {5, "entPhysicalClass", tag::Integer, &Entity::physicalClass},
    {6, "entPhysicalParentRelPos", tag::Integer, Constant{-1}},
    {7, "entPhysicalName", tag::OctetString, &Entity::name},
    {8, "entPhysicalHardwareRev", tag::OctetString, ConstantText{""}},
    {9, "entPhysicalFirmwareRev", tag::OctetString, ConstantText{""}},
    {10, "entPhysicalSoftwareRev", tag::OctetString, ConstantText{""}},
    {11, "entPhysicalSerialNum", tag::OctetString, &Entity::serial},
    {12, "entPhysicalMfgName", tag::OctetString, &Entity::mfgName},
    {13, "entPhysicalModelName", tag::OctetString, &Entity::modelName},
    {14, "entPhysicalAlias", tag::OctetString, &Entity::alias, Access::ReadWrite, kMaxKept},
    {15, "entPhysicalAssetID", tag::OctetString, &Entity::assetId, Access::ReadWrite, kMaxKept},
    {16, "entPhysicalIsFRU", tag::Integer, Constant{2}},  // false
};
static_assert(ascending(kPhysicalColumns));

}  // namespace

void start_entity_module() {
    openedStore = nullptr;
    entities = keep<GetAllMultiProvider>();
    entities->addSource(Resource::chassis, kChassisIndex, Resource::writeChassis);
    entities->addSource(oneRow<Resource::buildPCI>, pci_devices::kPath, object_class::kWhole, kPciIndexes);
    entities->addSource(oneRow<Resource::buildUSB>, usb_devices::kPath, object_class::kWhole, kUsbIndexes);
    MapTable* table = keepTable(entities, {{kPhysicalColumns[0], tn::field::ObjectId.number}});
    addTable(OID(kPhysicalEntry), "entPhysicalEntry", table, kPhysicalColumns);
}

void addEntities(GetAllProvider::BuildRows build, std::span<const uint32_t> path, uint32_t objectClass, uint32_t base) {
    entities->addSource(build, path, objectClass, base);
}

}  // namespace snmp
