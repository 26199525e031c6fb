#include "hostd/links/qdisc.h"

#include <linux/gen_stats.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

#include "hostd/netlink/attributes.h"

namespace hostd {

namespace {

constexpr std::array<std::string_view, 12> kClassful = {"htb",  "hfsc",   "cbq", "drr",    "qfq",    "ets",
                                                        "prio", "multiq", "mq",  "mqprio", "taprio", "dsmark"};
constexpr std::string_view kNoQueue = "noqueue";
constexpr uint32_t kMaxId = INT32_MAX;  // the id is an SNMP index, an Integer32

/// Copies an attribute's octets into a structure. The kernel's may be longer or shorter than ours, or absent: members
/// without a value are 0.
template <class Structure>
Structure structureOf(std::span<const uint8_t> octets) {
    Structure structure{};
    if (octets.empty()) return structure;  // data() may be nullptr, which memcpy doesn't allow
    std::memcpy(&structure, octets.data(), std::min(octets.size(), sizeof structure));
    return structure;
}

QueueCounters readCounters(const nlattr* statistics) {
    const Attributes<TCA_STATS_MAX> attributes(statistics);
    const auto basic = structureOf<gnet_stats_basic>(attributes.octets(TCA_STATS_BASIC));
    const auto queue = structureOf<gnet_stats_queue>(attributes.octets(TCA_STATS_QUEUE));
    // The kernel adds the 64-bit packet count once the 32-bit count overflows.
    return {basic.bytes, attributes.number<uint64_t>(TCA_STATS_PKT64).value_or(basic.packets), queue.drops};
}

std::string hex(uint32_t number) {
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    return {digits.data(), end};
}

/// A class's handle as tc(8) writes it, "1:10".
std::string handleText(uint32_t handle) { return hex(handle >> 16) + ":" + hex(TC_H_MIN(handle)); }

/// Identifies a qdisc or a class: ifindex and handle.
using QdiscId = std::pair<uint32_t, uint32_t>;
QdiscId idOf(const Qdisc& qdisc) { return {qdisc.ifindex, qdisc.handle}; }

using NameOf = std::function<std::string(uint32_t)>;

/// The classes of all interfaces, with their parents and row ids. It refers to the lists passed to the constructor.
class ClassTree {
  public:
    ClassTree(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes, const NameOf& nameOf) {
        for (const Qdisc& qdisc : qdiscs) parents_[idOf(qdisc)] = qdisc.parent;
        for (const Qdisc& one : classes)
            if (const std::string interface = nameOf(one.ifindex); !interface.empty())
                classes_[idOf(one)] = {&one, interface + " " + handleText(one.handle), interface, 0};
        std::set<uint32_t> taken;
        for (auto& [id, node] : classes_) {
            node.id = classId(node.name);
            while (!taken.insert(node.id).second) node.id = node.id % kMaxId + 1;
        }
    }

    [[nodiscard]] std::map<uint32_t, ClassQueue> rows() const {
        std::map<uint32_t, ClassQueue> rows;
        for (const auto& [id, node] : classes_) {
            const Node* parent = parentOf(*node.reported);
            rows[node.id] = {node.name, parent == nullptr ? node.interface : parent->name,
                             parent == nullptr ? 0 : parent->id, node.reported->counters};
        }
        return rows;
    }

  private:
    struct Node {
        const Qdisc* reported;
        std::string name;
        std::string interface;
        uint32_t id;
    };
    [[nodiscard]] const Node* at(uint32_t ifindex, uint32_t handle) const {
        const auto found = classes_.find({ifindex, handle});
        return found == classes_.end() ? nullptr : &found->second;
    }
    /// The parent class: the one that this class reports, else the one that its qdisc is attached to. nullptr at the
    /// top.
    [[nodiscard]] const Node* parentOf(const Qdisc& one) const {
        if (const Node* parent = at(one.ifindex, one.parent); parent != nullptr) return parent;
        const auto qdisc = parents_.find({one.ifindex, TC_H_MAJ(one.handle)});
        return qdisc == parents_.end() ? nullptr : at(one.ifindex, qdisc->second);
    }

    std::map<QdiscId, uint32_t> parents_;
    std::map<QdiscId, Node> classes_;
};

}  // namespace

std::optional<Qdisc> readQdisc(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWQDISC && message.nlmsg_type != RTM_NEWTCLASS) return {};
    const auto* header = payload<tcmsg>(message);
    if (header == nullptr || header->tcm_ifindex <= 0) return {};
    const Attributes<TCA_MAX> attributes(message, sizeof *header);
    return Qdisc{.ifindex = static_cast<uint32_t>(header->tcm_ifindex),
                 .handle = header->tcm_handle,
                 .parent = header->tcm_parent,
                 .kind = std::string(attributes.text(TCA_KIND)),
                 .counters = readCounters(attributes[TCA_STATS2])};
}

bool hasClasses(const Qdisc& qdisc) {
    return qdisc.handle != 0 && std::ranges::find(kClassful, qdisc.kind) != kClassful.end();
}

QueueRows makeQueueRows(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes, const NameOf& nameOf) {
    QueueRows rows;
    for (const Qdisc& qdisc : qdiscs) {
        const bool isRoot = qdisc.parent == TC_H_ROOT && qdisc.kind != kNoQueue;  // noqueue has no counters
        if (!isRoot && qdisc.parent != TC_H_INGRESS) continue;
        const std::string name = nameOf(qdisc.ifindex);
        if (name.empty()) continue;
        InterfaceQueue& queue = rows.interfaces[qdisc.ifindex];
        queue.interface = name;
        (isRoot ? queue.sent : queue.received) = qdisc.counters;
    }
    rows.classes = ClassTree(qdiscs, classes, nameOf).rows();
    return rows;
}

uint32_t classId(const std::string& name) {
    uint32_t hash = 2166136261;  // FNV-1a
    for (const char octet : name) hash = (hash ^ static_cast<uint8_t>(octet)) * 16777619;
    return hash % kMaxId + 1;  // never 0, which isn't an id
}

}  // namespace hostd
