#include "hostd/links/queues.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "contracts/queues.h"
#include "hostd/netlink/netlink.h"
#include "hostd/table/sizes.h"

namespace hostd {

namespace queues = contracts::queues;

namespace {

/// Reads the kernel's queues through a socket that stays open.
class KernelQueues {
  public:
    std::optional<QueueRows> read() {
        if (!socket_.isOpen() && !socket_.open(NETLINK_ROUTE, 0)) return {};
        std::vector<Qdisc> qdiscs;
        std::vector<Qdisc> classes;
        bool isWhole = dump(RTM_GETQDISC, {}, qdiscs);
        for (const Qdisc& qdisc : qdiscs)
            if (isWhole && hasClasses(qdisc)) isWhole = dump(RTM_GETTCLASS, qdisc, classes);
        std::map<uint32_t, std::string> names;  // queried once: an interface can have thousands of classes
        const auto nameOf = [&](uint32_t ifindex) {
            const auto [cached, isNew] = names.try_emplace(ifindex);
            if (isNew) cached->second = queryName(ifindex);
            return cached->second;
        };
        if (isWhole) return makeQueueRows(qdiscs, classes, nameOf);
        socket_.close();  // drops the rest of a reply
        return {};
    }

  private:
    /// Lists qdiscs, or the classes of one qdisc, and appends them to `found`. False when the dump failed or a change
    /// interrupted it.
    /// @param type  RTM_GETQDISC or RTM_GETTCLASS
    /// @param of    for RTM_GETTCLASS, the qdisc whose classes are requested. Its handle must not be 0, for which the
    ///              kernel would list the classes of all qdiscs
    bool dump(uint16_t type, const Qdisc& of, std::vector<Qdisc>& found) {
        NetlinkRequests requests;
        auto& header = requests.add<tcmsg>(type, NLM_F_DUMP);
        header.tcm_ifindex = static_cast<int>(of.ifindex);
        header.tcm_parent = of.handle;
        requests.finish();
        return socket_.send(requests) && socket_.receiveReply([&](const nlmsghdr& message) {
            if (auto one = readQdisc(message)) found.push_back(std::move(*one));
        });
    }
    [[nodiscard]] std::string queryName(uint32_t ifindex) const {
        ifreq request{};
        request.ifr_ifindex = static_cast<int>(ifindex);
        return ::ioctl(socket_.fd(), SIOCGIFNAME, &request) == 0 ? request.ifr_name : "";
    }

    NetlinkSocket socket_;
};

}  // namespace

QueueSource kernelQueues() {
    return [kernel = std::make_shared<KernelQueues>()] { return kernel->read(); };
}

std::shared_ptr<Queues> watchQueues(QueueSource source) {
    return std::make_shared<Queues>("queues", std::move(source), kQueuesMaxAge, kQueuesIdleInterval,
                                    kQueuesGracePeriod);
}

void InterfaceQueues::writeRow(uint32_t id, tn::message& row) const {
    const InterfaceQueue& queue = rows().at(id);
    row.insert_u32(queues::Interface, id);
    if (queue.sent) {
        row.insert_u32(queues::SentPackets, low(queue.sent->packets));
        row.insert_u32(queues::SentDrops, queue.sent->drops);
        row.insert_u64(queues::SentOctets, queue.sent->octets);
    }
    if (queue.received) {
        row.insert_u32(queues::ReceivedPackets, low(queue.received->packets));
        row.insert_u32(queues::ReceivedDrops, queue.received->drops);
        row.insert_u64(queues::ReceivedOctets, queue.received->octets);
    }
    row.insert_string(queues::Name, queue.interface);
}

void QueueTree::writeRow(uint32_t id, tn::message& row) const {
    const ClassQueue& one = rows().at(id);
    row.insert_u32(queues::ParentId, one.parentId);
    row.insert_u32(queues::SentPackets, low(one.counters.packets));
    row.insert_u32(queues::SentDrops, one.counters.drops);
    row.insert_u64(queues::SentOctets, one.counters.octets);
    row.insert_string(queues::Name, one.name);
    row.insert_string_array(queues::Parent, {one.parent});
}

}  // namespace hostd
