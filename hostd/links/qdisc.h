#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

struct QueueCounters {
    uint64_t octets = 0;
    uint64_t packets = 0;
    uint32_t drops = 0;
};

/// A queueing discipline (qdisc) or one of its classes, as the kernel tells it (tc(8)). Handles are of the form
/// major << 16 | minor, TC_H_MAKE; a qdisc's has the minor number 0.
struct Qdisc {
    uint32_t ifindex = 0;
    uint32_t handle = 0;
    uint32_t parent = 0;  ///< handle, TC_H_ROOT or TC_H_INGRESS
    std::string kind;     ///< "htb"
    QueueCounters counters;
};

/// Reads RTM_NEWQDISC and RTM_NEWTCLASS. Nothing for a message that is too short, and for other messages.
[[nodiscard]] std::optional<Qdisc> readQdisc(const nlmsghdr& message);

/// Whether a qdisc's classes are laid out by the administrator: not those that stand for flows, and not the transmit
/// queues of a device that nobody configured.
[[nodiscard]] bool hasClasses(const Qdisc& qdisc);

/// What is queued on an interface.
struct InterfaceQueue {
    std::string interface;
    std::optional<QueueCounters> sent;      ///< by the root qdisc
    std::optional<QueueCounters> received;  ///< by the ingress qdisc
};

/// A class in the tree that the qdiscs of an interface make.
struct ClassQueue {
    std::string name;       ///< interface and handle: "eth0 1:10"
    std::string parent;     ///< the name of the class it is in; the interface's for one at the top
    uint32_t parentId = 0;  ///< 0 for one at the top
    QueueCounters counters;
};

struct QueueRows {
    std::map<uint32_t, InterfaceQueue> interfaces;  ///< by ifindex; those with neither a root nor an ingress qdisc lack
    std::map<uint32_t, ClassQueue> classes;         ///< by classId
};

/// @param nameOf  the name of the interface with an index; empty when it has gone, and its queues with it
[[nodiscard]] QueueRows makeQueueRows(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes,
                                      const std::function<std::string(uint32_t)>& nameOf);

/// The id of a class, from 1 to 2^31 - 1: made from its name, so that it is the same after a restart, and after one of
/// the machine. Of two classes whose names give the same, the later one in the order of interface and handle takes the
/// next that is free.
[[nodiscard]] uint32_t classId(const std::string& name);

}  // namespace hostd
