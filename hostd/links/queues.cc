#include "hostd/links/queues.h"

#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "contracts/queues.h"
#include "hostd/log.h"
#include "hostd/netlink/netlink.h"
#include "tn/sources.h"

namespace hostd {

namespace queues = contracts::queues;

namespace {

uint32_t low(uint64_t value) { return static_cast<uint32_t>(value); }

/// The kernel's queues, through a socket that is kept.
class KernelQueues {
  public:
    QueueReading read() { return {.at = tn::getMilliseconds(), .rows = rows()}; }

  private:
    std::optional<QueueRows> rows() {
        if (!socket_.isOpen() && !socket_.open(NETLINK_ROUTE, 0)) return {};
        std::vector<Qdisc> qdiscs;
        std::vector<Qdisc> classes;
        bool isWhole = dump(RTM_GETQDISC, {}, qdiscs);
        for (const Qdisc& qdisc : qdiscs)
            if (isWhole && hasClasses(qdisc)) isWhole = dump(RTM_GETTCLASS, qdisc, classes);
        std::map<uint32_t, std::string> names;  // asked for once: an interface can have thousands of classes
        const auto nameOf = [&](uint32_t ifindex) {
            const auto [known, isNew] = names.try_emplace(ifindex);
            if (isNew) known->second = askName(ifindex);
            return known->second;
        };
        if (isWhole) return makeQueueRows(qdiscs, classes, nameOf);
        socket_.close();  // with what is left of an answer
        return {};
    }
    /// @param of  the one whose classes are wanted: the kernel lists all of them for a handle of 0
    bool dump(uint16_t type, const Qdisc& of, std::vector<Qdisc>& found) {
        NetlinkRequests requests;
        auto& header = requests.add<tcmsg>(type, NLM_F_DUMP);
        header.tcm_ifindex = static_cast<int>(of.ifindex);
        header.tcm_parent = of.handle;
        requests.finish();
        return socket_.send(requests) && socket_.takeAnswer([&](const nlmsghdr& message) {
            if (auto one = readQdisc(message)) found.push_back(std::move(*one));
        });
    }
    [[nodiscard]] std::string askName(uint32_t ifindex) const {
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

QueueReadings::QueueReadings(QueueSource source)
    : known_("queues", keepingTheWhole(std::move(source)), kMaxAge, kIdleAge, kLinger) {}

std::function<QueueReadings::Known()> QueueReadings::keepingTheWhole(QueueSource source) {
    return [source = std::move(source), known = std::make_shared<Known>()] {
        auto next = std::make_shared<const QueueReading>(source());
        known->isLast = next->rows.has_value();
        if (known->isLast) known->whole = std::move(next);
        return *known;
    };
}

void QueueReadings::refresh() {
    const auto latest = known_.ask();
    taken_ = latest ? latest->whole : nullptr;
    if (taken_ && taken_->at + kTooOld <= tn::getMilliseconds()) taken_ = nullptr;
    if (!latest) return;
    if (latest->isLast)
        isLogged_ = false;
    else if (!taken_ && !std::exchange(isLogged_, true))
        hostLog << "queues: not read: the kernel doesn't tell them";
}

const QueueRows& QueueReadings::rows() const {
    static const QueueRows kNone;
    return taken_ ? *taken_->rows : kNone;
}

void InterfaceQueues::listRow(uint32_t id, tn::message& row) const {
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

void QueueTree::listRow(uint32_t id, tn::message& row) const {
    const ClassQueue& one = rows().at(id);
    row.insert_u32(queues::ParentId, one.parentId);
    row.insert_u32(queues::SentPackets, low(one.counters.packets));
    row.insert_u32(queues::SentDrops, one.counters.drops);
    row.insert_u64(queues::SentOctets, one.counters.octets);
    row.insert_string(queues::Name, one.name);
    row.insert_string_array(queues::Parent, {one.parent});
}

}  // namespace hostd
