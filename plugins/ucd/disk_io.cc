// What the block devices have read and written (UCD-DISKIO-MIB).
//
//     diskIOTable    INDEX { diskIOIndex }     disks, partitions, mapped devices

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/activity.h"
#include "contracts/object_class.h"
#include "ucd.h"

namespace ucd {

namespace {

namespace disk_activity = contracts::disk_activity;
namespace tag = snmp::tag;
using contracts::object_class::kWhole;

struct Disk : snmp::Data {
    unsigned int index = 0;
    std::string name;
    unsigned int octetsRead = 0, octetsWritten = 0, reads = 0, writes = 0;  // wrap
    unsigned int busy1 = 0, busy5 = 0, busy15 = 0;                          // percent
    unsigned long long octetsReadX = 0, octetsWrittenX = 0;
    unsigned long long busy = 0;  // microseconds
    static std::unique_ptr<snmp::Data> build(const tn::message& m);
};

std::unique_ptr<snmp::Data> Disk::build(const tn::message& m) {
    auto record = std::make_unique<Disk>();
    record->index = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(disk_activity::Name).substr(0, kMaxText);
    record->octetsReadX = m.get_u64(disk_activity::ReadOctets);
    record->octetsWrittenX = m.get_u64(disk_activity::WrittenOctets);
    record->octetsRead = static_cast<unsigned int>(record->octetsReadX);
    record->octetsWritten = static_cast<unsigned int>(record->octetsWrittenX);
    record->reads = static_cast<unsigned int>(m.get_u64(disk_activity::Reads));
    record->writes = static_cast<unsigned int>(m.get_u64(disk_activity::Writes));
    record->busy1 = m.get_u32(disk_activity::Busy1Minute);
    record->busy5 = m.get_u32(disk_activity::Busy5Minutes);
    record->busy15 = m.get_u32(disk_activity::Busy15Minutes);
    record->busy = m.get_u64(disk_activity::Busy) * 1000;
    return record;
}

constexpr auto kEntry = snmp::under(kUcd, 13, 15, 1, 1);
constexpr snmp::Column<Disk> kColumns[] = {
    {1, "diskIOIndex", tag::Integer, &Disk::index},
    {2, "diskIODevice", tag::OctetString, &Disk::name},
    {3, "diskIONRead", tag::Counter32, &Disk::octetsRead},
    {4, "diskIONWritten", tag::Counter32, &Disk::octetsWritten},
    {5, "diskIOReads", tag::Counter32, &Disk::reads},
    {6, "diskIOWrites", tag::Counter32, &Disk::writes},
    {9, "diskIOLA1", tag::Integer, &Disk::busy1},
    {10, "diskIOLA5", tag::Integer, &Disk::busy5},
    {11, "diskIOLA15", tag::Integer, &Disk::busy15},
    {12, "diskIONReadX", tag::Counter64, &Disk::octetsReadX},
    {13, "diskIONWrittenX", tag::Counter64, &Disk::octetsWrittenX},
    {14, "diskIOBusyTime", tag::Counter64, &Disk::busy},
};
static_assert(snmp::ascending(kColumns));

}  // namespace

void startDiskIo() {
    auto* rows = snmp::keep<snmp::GetAllProvider>(disk_activity::kPath, snmp::oneRow<Disk::build>, kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kColumns[0], tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kEntry), "diskIOEntry", table, kColumns);
}

}  // namespace ucd
