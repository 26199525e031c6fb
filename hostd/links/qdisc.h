#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// What a qdisc or a class has counted since it was made.
struct QueueCounters {
    uint64_t octets = 0;
    uint64_t packets = 0;
    uint32_t drops = 0;
};

/// A queueing discipline (qdisc) or one of its classes, as the kernel reports it (tc(8)). Handles are of the form
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

/// True if a qdisc's classes were configured by the administrator. False for classes that stand for flows, and for the
/// transmit queues of an unconfigured device.
[[nodiscard]] bool hasClasses(const Qdisc& qdisc);

/// The queues of an interface.
struct InterfaceQueue {
    std::string interface;
    std::optional<QueueCounters> sent;      ///< by the root qdisc
    std::optional<QueueCounters> received;  ///< by the ingress qdisc
};

/// A class in the tree of an interface's qdiscs.
struct ClassQueue {
    std::string name;       ///< interface and handle: "eth0 1:10"
    std::string parent;     ///< name of the class that contains it, or of the interface for one at the top
    uint32_t parentId = 0;  ///< 0 for one at the top
    QueueCounters counters;
};

/// One reading, as rows.
struct QueueRows {
    std::map<uint32_t, InterfaceQueue> interfaces;  ///< by ifindex, if there is a root or ingress qdisc
    std::map<uint32_t, ClassQueue> classes;         ///< by classId
};

/// Makes rows of what the kernel listed. A class's parent is the one it names, else the one that contains its qdisc.
/// @param nameOf  name of the interface with an index; empty when it has gone, and its queues with it
[[nodiscard]] QueueRows makeQueueRows(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes,
                                      const std::function<std::string(uint32_t)>& nameOf);

/// The id of a class, from 1 to 2^31 - 1. It is computed from the name, so that it stays the same over restarts of the
/// process and of the machine. If two names give the same id, the class that is later in the order of interface and
/// handle gets the next free one.
[[nodiscard]] uint32_t classId(const std::string& name);

}  // namespace hostd
