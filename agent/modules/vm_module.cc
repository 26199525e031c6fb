// vmwVmTable of the published virtual machine MIB (enterprise 6876).
//
//     vmwVmTable    INDEX { vmwVmIdx }    podhost guests, KVM guests
//
// All columns are read-only: a Set gets a normal reply and changes nothing.

#include "agent/modules/vm_module.h"

#include <span>

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "contracts/guests.h"
#include "contracts/object_class.h"

namespace snmp {

namespace {

namespace object_class = contracts::object_class;
namespace podhost_guests = contracts::podhost_guests;
namespace virtual_machines = contracts::virtual_machines;

// vmwVmIdx of a guest is its id at its owner, with these bits set.
constexpr uint32_t kKvmIndexes = 0x20000;
constexpr uint32_t kPodhostIndexes = 0x10000;

struct VM : Data {
    unsigned int id = 0;
    unsigned int memory = 0;  // MiB
    unsigned int cpus = 0;
    std::string name, config, comment, state;
    static std::unique_ptr<Data> buildKvm(const tn::message& m);
    static std::unique_ptr<Data> buildMeta(const tn::message& m);
};

// The texts of vmwVmState, indexed by the state that the owner reports.

constexpr const char* kKvmStates[] = {
    "invalid",
    "stopping",
    "stopped",
    "starting",
    "running",
    "restarting",
    "failed",
    "error image busy",
    "error no kernel",
    "error no disk image",
    "error unsupported cpu",
    "error vnc can't bind",
    "error extract failed",
};
static_assert(std::size(kKvmStates) == virtual_machines::state::kCount);
constexpr const char* kPodhostStates[] = {
    "disabled", "stopped", "booting", "running", "rebooting", "shuttingdown", "importing",
};
static_assert(std::size(kPodhostStates) == podhost_guests::state::Unknown);

const char* stateName(std::span<const char* const> names, uint32_t state) {
    return state < names.size() ? names[state] : "unknown";
}

// Build functions.

/// Appends a space, unless the text is empty or ends with one.
void addSpace(std::string& text) {
    if (!text.empty() && text.back() != ' ') text += ' ';
}

std::unique_ptr<Data> VM::buildKvm(const tn::message& m) {
    auto record = std::make_unique<VM>();
    record->id = m.get_u32(tn::field::ObjectId, tn::kNoId) | kKvmIndexes;
    record->name = m.get_string(tn::field::Name);
    record->comment = m.get_string(tn::field::Comment);
    record->cpus = m.get_u32(virtual_machines::Processors);
    record->memory = m.get_u32(virtual_machines::Memory);
    record->state = stateName(kKvmStates, m.get_u32(virtual_machines::State));
    // compat: 77. Each part ends with a space, the last one included: scripts split the text there.
    for (const tn::string_id part : {virtual_machines::Disk, virtual_machines::Kernel, virtual_machines::Initrd}) {
        record->config += m.get_string(part);
        addSpace(record->config);
    }
    if (m.get_bool(virtual_machines::HasSnapshot)) record->config += "[snapshot]";
    return record;
}

std::unique_ptr<Data> VM::buildMeta(const tn::message& m) {
    auto record = std::make_unique<VM>();
    record->id = m.get_u32(tn::field::ObjectId, tn::kNoId) | kPodhostIndexes;
    record->name = m.get_string(tn::field::Name);
    record->comment = m.get_string(tn::field::Comment);
    record->cpus = 1;
    record->memory = m.get_u32(podhost_guests::Memory);
    record->config = "podhost";
    record->state = stateName(kPodhostStates, m.get_u32(podhost_guests::State));
    return record;
}

// Objects.

// vmwVmEntry. Columns 7 and 8 aren't served.
constexpr auto kVmEntry = under(kInternet, 4, 1, 6876, 2, 1, 1);
constexpr Column<VM> kVmIndex = {1, "vmwVmIdx", tag::Integer, &VM::id};  // not served
constexpr Column<VM> kVmColumns[] = {
    {2, "vmwVmDisplayName", tag::OctetString, &VM::name}, {3, "vmwVmConfigFile", tag::OctetString, &VM::config},
    {4, "vmwVmGuestOS", tag::OctetString, &VM::comment},  {5, "vmwVmMemSize", tag::Integer, &VM::memory},
    {6, "vmwVmState", tag::OctetString, &VM::state},      {9, "vmwVmCpus", tag::Integer, &VM::cpus},
};
static_assert(ascending(kVmColumns));

}  // namespace

void start_vm_module() {
    auto* guests = keep<GetAllMultiProvider>();
    guests->addSource(oneRow<VM::buildKvm>, virtual_machines::kPath, object_class::kWhole, kKvmIndexes);
    guests->addSource(oneRow<VM::buildMeta>, podhost_guests::kPath, object_class::kWhole, kPodhostIndexes);
    MapTable* table = keepTable(guests, {{kVmIndex, tn::field::ObjectId.number}});
    addTable(OID(kVmEntry), "vmwVmEntry", table, kVmColumns);
}

}  // namespace snmp
