#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "hostd/inet/route.h"

namespace hostd {

/// The kernel's nexthop objects (ip-nexthop(8)), kept up to date by the messages applied to it, in order. Routes refer
/// to them by id; with net.ipv4.nexthop_compat_mode=0 the id is all that the kernel reports about such a route's next
/// hops.
class NexthopTable {
  public:
    /// Applies RTM_NEWNEXTHOP and RTM_DELNEXTHOP as notifications.
    /// @return the object's id; 0 for other messages and malformed ones, which change nothing
    uint32_t apply(const nlmsghdr& message);

    /// A new listing of every object. Notifications continue meanwhile and override what is listed. endListing()
    /// removes the objects that were neither listed nor notified.
    void beginListing();
    /// Applies an RTM_NEWNEXTHOP of the listing; ignores other messages.
    void list(const nlmsghdr& message);
    void endListing();

    /// Gives a route through an object the object's current next hops, unless the kernel's message contained them. If
    /// the object isn't known, the route has one unusable next hop.
    void resolve(Route& route) const;
    /// True if the condition holds for the id of any group that contains this object.
    template <class Condition>
    [[nodiscard]] bool anyGroupOf(uint32_t id, const Condition& holds) const {
        for (auto at = members_.lower_bound({id, 0}); at != members_.end() && at->first == id; ++at)
            if (holds(at->second)) return true;
        return false;
    }

  private:
    struct Object {
        Route::NextHop hop;
        std::vector<uint32_t> group;  ///< ids of its members; empty for a single next hop
    };
    using Objects = std::unordered_map<uint32_t, Object>;
    /// The object's id and content. The id is 0 for a message that has none or is too short.
    static std::pair<uint32_t, Object> read(const nlmsghdr& message);
    void enter(uint32_t id, const Object& object);
    void remove(uint32_t id);

    Objects objects_;
    std::set<std::pair<uint32_t, uint32_t>> members_;  ///< member and group
    bool isListing_ = false;
    Objects listed_;
    std::set<uint32_t> notified_;  ///< ids notified during this listing
};

}  // namespace hostd
