// The vendor's system control, scripts and neighbours.
//
//     scripts       INDEX { script id }
//     neighbours    INDEX { neighbour id }

#include "agent/modules/vendor_module.h"

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/request_writes.h"
#include "contracts/devices.h"
#include "contracts/neighbors.h"
#include "contracts/object_class.h"
#include "contracts/scripts.h"
#include "contracts/system.h"
#include "tn/looper.h"

namespace snmp {

namespace {

namespace neighbors = contracts::neighbors;
namespace object_class = contracts::object_class;
namespace scripts = contracts::scripts;
namespace system = contracts::system;
namespace system_info = contracts::system_info;
namespace usb_reset = contracts::usb_reset;

// Records.

/// The system controls. Writing one performs its action; reading one always returns 0.
struct TheSystem : Data {
    unsigned int reboot = 0;
    unsigned int usbReset = 0;
    static std::unique_ptr<Data> build(const tn::message&) { return std::make_unique<TheSystem>(); }
    void reverseBuild(tn::message& m) override;
};

/// Writing `run` starts the script; writing `name` renames it.
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

void TheSystem::reverseBuild(tn::message&) {
    if (reboot != 0) {
        serr << "TheSystem::REBOOT";  // compat: 105
        RequestWrites::writeNow();    // before the machine goes down
        (void)tn::getLooper()->exchangeMessage(tn::request(system::kPath, system::kReboot));
    }
    if (usbReset != 0) {
        serr << "TheSystem usb reset";
        tn::message request = tn::request(usb_reset::kPath, usb_reset::kSwitchOff);
        request.insert_u32(usb_reset::Seconds, usbReset);
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) sout << reply;
    }
}

std::unique_ptr<Data> Script::build(const tn::message& m) {
    auto record = std::make_unique<Script>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(scripts::Name);
    return record;
}

void Script::reverseBuild(tn::message& m) {
    m.insert_u32(tn::field::ObjectId, id);
    if (run != 0) {
        serr << "Run, FOREST, run!";  // compat: 104
        m.insert_u32(tn::field::Command, scripts::kRun);
    } else {
        m.insert_string(scripts::Name, name);
    }
}

std::unique_ptr<Data> Neighbor::build(const tn::message& m) {
    auto record = std::make_unique<Neighbor>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->address = m.get_be32(neighbors::Address);
    record->mac = m.get_raw(neighbors::Mac);
    record->identity = m.get_string(neighbors::Identity);
    record->platform = m.get_string(neighbors::Platform);
    record->version = m.get_string(neighbors::Version);
    record->port = m.get_string(neighbors::Port);
    return record;
}

// Objects.

constexpr auto kSystemControl = under(kVendorObjects, 7);
constexpr Column<TheSystem> kControlObjects[] = {
    {1, "systemReboot", tag::Integer, &TheSystem::reboot, Access::ReadWrite},
    {2, "systemUsbReset", tag::Integer, &TheSystem::usbReset, Access::ReadWrite},
};

constexpr auto kScriptEntry = under(kVendorObjects, 8, 1, 1);
constexpr Column<Script> kScriptIndex = {1, "scriptIndex", tag::Integer, &Script::id};  // not served
constexpr Column<Script> kScriptColumns[] = {
    {2, "scriptName", tag::OctetString, &Script::name, Access::ReadWrite},
    {3, "scriptRun", tag::Integer, &Script::run, Access::ReadWrite},
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

/// A table of an owner's rows, with their ids as index.
template <class Record>
MapTable* tableOf(GetAllProvider::BuildRows build, std::span<const uint32_t> path, const Column<Record>& index) {
    auto* rows = keep<GetAllProvider>(path, build, object_class::kWhole);
    return keepTable(rows, {{index, tn::field::ObjectId.number}});
}

}  // namespace

void start_vendor_module() {
    auto* control =
        keep<GetProvider>(TheSystem::build, system_info::kPath, tn::cmd::Get, tn::cmd::Set, object_class::kWhole);
    addScalars(kSystemControl, kControlObjects, control);

    MapTable* scriptTable = tableOf(oneRow<Script::build>, scripts::kPath, kScriptIndex);
    addTable(OID(kScriptEntry), "scriptEntry", scriptTable, kScriptColumns);

    MapTable* neighborTable = tableOf(oneRow<Neighbor::build>, neighbors::kPath, kNeighborIndex);
    addTable(OID(kNeighborEntry), "neighborEntry", neighborTable, kNeighborColumns);
}

}  // namespace snmp
