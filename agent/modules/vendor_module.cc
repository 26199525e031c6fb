// The vendor's system control, scripts and neighbours.
//
//     scripts       INDEX { script id }
//     neighbours    INDEX { neighbour id }

#include "agent/modules/vendor_module.h"

#include "agent/log.h"
#include "agent/mib/columns.h"
#include "agent/mib/data_provider.h"
#include "agent/mib/get_all_provider.h"
#include "agent/mib/keep.h"
#include "agent/mib/request_writes.h"
#include "tn/looper.h"

namespace snmp {

namespace {

// Owners.
const std::vector<uint32_t> kReboot = {24};
const std::vector<uint32_t> kSystemInfo = {24, 2};
const std::vector<uint32_t> kUsb = {99, 6};
const std::vector<uint32_t> kScripts = {48, 101};
const std::vector<uint32_t> kNeighbors = {10, 1};
constexpr uint32_t kResetUsb = 1;     // command to {99, 6}
constexpr uint32_t kRunScript = 1;    // command to {48, 101}
constexpr uint32_t kWholeObject = 5;  // object class of every get here

// Records.

/// What is written here happens; what is read is always 0.
struct TheSystem : Data {
    unsigned int reboot = 0;
    unsigned int usbReset = 0;
    static std::unique_ptr<Data> build(const tn::message&) { return std::make_unique<TheSystem>(); }
    void reverseBuild(tn::message& m) override;
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

// Objects.

constexpr auto kSystemControl = under(kVendorObjects, 7);
constexpr Column<TheSystem> kControlObjects[] = {
    {1, "systemReboot", tag::Integer, &TheSystem::reboot},
    {2, "systemUsbReset", tag::Integer, &TheSystem::usbReset},
};

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

/// A table over an owner's rows, indexed by their ids.
template <class Record>
MapTable* tableOf(GetAllProvider::BuildRows build, const std::vector<uint32_t>& path, const Column<Record>& index) {
    auto* rows = keep<GetAllProvider>(path, build, kWholeObject);
    return keepTable(rows, {{packerFor(index), tn::field::ObjectId.number}});
}

}  // namespace

void start_vendor_module() {
    auto* control = keep<GetProvider>(TheSystem::build, kSystemInfo, tn::cmd::Get, tn::cmd::Set, kWholeObject);
    addScalars(kSystemControl, kControlObjects, control);

    MapTable* scripts = tableOf(oneRow<Script::build>, kScripts, kScriptIndex);
    addColumns(addColumnarBranch(OID(kScriptEntry), scripts), kScriptColumns);

    MapTable* neighbors = tableOf(oneRow<Neighbor::build>, kNeighbors, kNeighborIndex);
    addColumns(addColumnarBranch(OID(kNeighborEntry), neighbors), kNeighborColumns);
}

}  // namespace snmp
