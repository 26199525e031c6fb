#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// The counters of a qdisc or a class since it was created (TCA_STATS2).
struct QueueCounters {
    uint64_t octets = 0;
    uint64_t packets = 0;
    uint32_t drops = 0;  ///< packets
};

/// A queueing discipline (qdisc) or one of its classes, as the kernel reports it (tc(8)). A handle is
/// major << 16 | minor (TC_H_MAKE). That of a qdisc has the minor number 0.
struct Qdisc {
    uint32_t ifindex = 0;
    uint32_t handle = 0;
    uint32_t parent = 0;  ///< handle of the class or qdisc that it is attached to, TC_H_ROOT or TC_H_INGRESS
    std::string kind;     ///< of the qdisc, TCA_KIND: "htb"
    QueueCounters counters;
};

/// Reads RTM_NEWQDISC and RTM_NEWTCLASS. Nothing for other messages and for those that are too short.
[[nodiscard]] std::optional<Qdisc> readQdisc(const nlmsghdr& message);

/// True if an administrator configures the classes of this qdisc. False for kinds whose classes are flows, and for a
/// qdisc without a handle, such as the kernel's default one of a device with several transmit queues.
[[nodiscard]] bool hasClasses(const Qdisc& qdisc);

/// The counters of an interface's root and ingress qdiscs. At least one of them is present.
struct InterfaceQueue {
    std::string interface;                  ///< name
    std::optional<QueueCounters> sent;      ///< of the root qdisc
    std::optional<QueueCounters> received;  ///< of the ingress qdisc
};

/// A class in the tree of an interface's qdiscs.
struct ClassQueue {
    std::string name;       ///< interface and handle: "eth0 1:10"
    std::string parent;     ///< name of the parent class; of the interface for a class at the top
    uint32_t parentId = 0;  ///< id of the parent class; 0 for a class at the top
    QueueCounters counters;
};

/// The rows of one reading.
struct QueueRows {
    std::map<uint32_t, InterfaceQueue> interfaces;  ///< by ifindex; see InterfaceQueues
    std::map<uint32_t, ClassQueue> classes;         ///< by id
};

/// Converts the kernel's lists into rows. The parent of a class is the class that it reports as its parent, else the
/// class that its qdisc is attached to. The id of a class is its classId(). If two classes have the same one, the class
/// that is later in the order of interface and handle gets the next free id.
/// @param nameOf  name of the interface with this ifindex; empty if the interface has gone, whose queues are then left
///                out
[[nodiscard]] QueueRows makeQueueRows(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes,
                                      const std::function<std::string(uint32_t)>& nameOf);

/// The id of a class, from 1 to 2^31 - 1: a hash of its name. So the id usually survives restarts of the process and of
/// the machine. Different names may have the same id; makeQueueRows() resolves that.
[[nodiscard]] uint32_t classId(const std::string& name);

}  // namespace hostd
