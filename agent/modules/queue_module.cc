// The vendor's queues: traffic control of interfaces.
//
//     simple queues    INDEX { queue id }
//     queue tree       INDEX { queue id }
//
// All columns are read-only: a Set gets a normal reply and changes nothing.

#include "agent/modules/queue_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "contracts/queues.h"

namespace snmp {

namespace {

namespace object_class = contracts::object_class;
namespace queues = contracts::queues;

struct SimpleQueue : Data {
    unsigned int id = 0;
    std::string name;
    unsigned int target = 0, targetMask = 0;
    unsigned int destination = 0, destinationMask = 0;
    unsigned int interface = 0;
    unsigned long long bytesIn = 0, bytesOut = 0;
    unsigned int packetsIn = 0, packetsOut = 0;
    unsigned int droppedIn = 0, droppedOut = 0;
    static std::unique_ptr<Data> build(const tn::message& m);
};

struct TreeQueue : Data {
    unsigned int id = 0;
    std::string name, parent;
    unsigned int parentId = 0;  // 0 for a queue without a parent
    unsigned long long bytes = 0;
    unsigned int packets = 0, dropped = 0;
    static std::unique_ptr<Data> build(const tn::message& m);
};

std::unique_ptr<Data> SimpleQueue::build(const tn::message& m) {
    auto record = std::make_unique<SimpleQueue>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(queues::Name);
    const std::vector<uint32_t> target = m.get_be32_array(queues::Target);
    if (target.size() >= 2) {
        record->target = target[0];
        record->targetMask = target[1];
    }
    record->destination = m.get_be32(queues::Destination);
    record->destinationMask = m.get_be32(queues::DestinationMask);
    record->interface = m.get_u32(queues::Interface);
    record->bytesIn = m.get_u64(queues::ReceivedOctets);
    record->bytesOut = m.get_u64(queues::SentOctets);
    record->packetsIn = m.get_u32(queues::ReceivedPackets);
    record->packetsOut = m.get_u32(queues::SentPackets);
    record->droppedIn = m.get_u32(queues::ReceivedDrops);
    record->droppedOut = m.get_u32(queues::SentDrops);
    return record;
}

std::unique_ptr<Data> TreeQueue::build(const tn::message& m) {
    auto record = std::make_unique<TreeQueue>();
    record->id = m.get_u32(tn::field::ObjectId);
    record->name = m.get_string(queues::Name);
    const std::vector<std::string>& parents = m.get_string_array(queues::Parent);
    if (!parents.empty()) record->parent = parents.front();
    record->parentId = m.get_u32(queues::ParentId);
    record->bytes = m.get_u64(queues::SentOctets);
    record->packets = m.get_u32(queues::SentPackets);
    record->dropped = m.get_u32(queues::SentDrops);
    return record;
}

constexpr auto kQueues = under(kVendorObjects, 2);
constexpr Column<SimpleQueue> kSimpleQueueIndex = {1, "simpleQueueIndex", tag::Integer,
                                                   &SimpleQueue::id};  // not served
constexpr Column<SimpleQueue> kSimpleQueueColumns[] = {
    {2, "simpleQueueName", tag::OctetString, &SimpleQueue::name},
    {3, "simpleQueueTargetAddress", tag::IpAddress, &SimpleQueue::target},
    {4, "simpleQueueTargetMask", tag::IpAddress, &SimpleQueue::targetMask},
    {5, "simpleQueueDestinationAddress", tag::IpAddress, &SimpleQueue::destination},
    {6, "simpleQueueDestinationMask", tag::IpAddress, &SimpleQueue::destinationMask},
    {7, "simpleQueueInterface", tag::Integer, &SimpleQueue::interface},
    {8, "simpleQueueBytesIn", tag::Counter64, &SimpleQueue::bytesIn},
    {9, "simpleQueueBytesOut", tag::Counter64, &SimpleQueue::bytesOut},
    {10, "simpleQueuePacketsIn", tag::Counter32, &SimpleQueue::packetsIn},
    {11, "simpleQueuePacketsOut", tag::Counter32, &SimpleQueue::packetsOut},
    {12, "simpleQueueDroppedIn", tag::Counter32, &SimpleQueue::droppedIn},
    {13, "simpleQueueDroppedOut", tag::Counter32, &SimpleQueue::droppedOut},
};
static_assert(ascending(kSimpleQueueColumns));

constexpr Column<TreeQueue> kTreeQueueIndex = {1, "treeQueueIndex", tag::Integer, &TreeQueue::id};  // not served
constexpr Column<TreeQueue> kTreeQueueColumns[] = {
    {2, "treeQueueName", tag::OctetString, &TreeQueue::name},
    {3, "treeQueueParent", tag::OctetString, &TreeQueue::parent},
    {4, "treeQueueParentId", tag::Integer, &TreeQueue::parentId},
    {5, "treeQueueBytes", tag::Counter32, &TreeQueue::bytes},
    {6, "treeQueuePackets", tag::Counter32, &TreeQueue::packets},
    {7, "treeQueueHCBytes", tag::Counter64, &TreeQueue::bytes},
    {8, "treeQueueDropped", tag::Counter32, &TreeQueue::dropped},
};
static_assert(ascending(kTreeQueueColumns));

template <std::unique_ptr<Data> (*Build)(const tn::message&), class Record, size_t N>
void addQueues(unsigned int number, std::string_view entry, std::span<const uint32_t> path, const Column<Record>& index,
               const Column<Record> (&columns)[N]) {
    auto* rows = keep<GetAllProvider>(path, oneRow<Build>, object_class::kWithStatistics);
    MapTable* table = keepTable(rows, {{index, tn::field::ObjectId.number}});
    addTable(OID(under(kQueues, number, 1)), entry, table, columns);
}

}  // namespace

void startQueues() {
    addQueues<SimpleQueue::build>(1, "simpleQueueEntry", queues::kInterfacesPath, kSimpleQueueIndex,
                                  kSimpleQueueColumns);
    addQueues<TreeQueue::build>(2, "treeQueueEntry", queues::kTreePath, kTreeQueueIndex, kTreeQueueColumns);
}

}  // namespace snmp
