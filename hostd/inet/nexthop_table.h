#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "hostd/inet/route.h"

namespace hostd {

/// The kernel's nexthop objects (ip-nexthop(8)). The kernel's messages, applied in their order, keep it current. Routes
/// refer to the objects by id. With net.ipv4.nexthop_compat_mode=0, the kernel reports nothing but that id about the
/// next hops of such a route.
/// @tparam Family  of those routes
template <class Family>
class NexthopTable {
  public:
    /// Applies a notification, RTM_NEWNEXTHOP or RTM_DELNEXTHOP.
    /// @return the object's id; 0 for other messages and malformed ones, which change nothing
    uint32_t apply(const nlmsghdr& message);

    /// Begins a listing of all objects. Notifications may be applied meanwhile, and have precedence over listed
    /// objects.
    void beginListing();
    /// Applies an RTM_NEWNEXTHOP of the listing. Ignores other and malformed messages.
    void list(const nlmsghdr& message);
    /// Ends the listing: objects that were neither listed nor notified since beginListing() are removed.
    void endListing();

    /// If the route refers to an object and the kernel's message didn't contain its next hops, sets them to the
    /// object's. If the object isn't known, the route gets one unusable next hop.
    void resolve(Route<Family>& route) const;
    /// True if the condition holds for any group that contains this object.
    /// @param holds  the condition, called with the id of a group
    template <class Condition>
    [[nodiscard]] bool anyGroupOf(uint32_t id, const Condition& holds) const {
        for (auto at = members_.lower_bound({id, 0}); at != members_.end() && at->first == id; ++at)
            if (holds(at->second)) return true;
        return false;
    }

  private:
    /// A single next hop, or a group of them.
    struct Object {
        typename Route<Family>::NextHop hop;
        std::vector<uint32_t> group;  ///< ids of its members; empty for a single next hop
    };
    using Objects = std::unordered_map<uint32_t, Object>;
    /// The object's id and content. The id is 0 if the message has none or is too short.
    static std::pair<uint32_t, Object> read(const nlmsghdr& message);
    /// Adds the members of a group to members_.
    void enter(uint32_t id, const Object& object);
    void remove(uint32_t id);

    Objects objects_;
    std::set<std::pair<uint32_t, uint32_t>> members_;  ///< ids of member and group
    bool isListing_ = false;
    Objects listed_;               ///< by the listing in progress
    std::set<uint32_t> notified_;  ///< ids in notifications during the listing in progress
};

}  // namespace hostd
