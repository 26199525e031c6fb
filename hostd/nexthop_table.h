#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "hostd/route.h"

namespace hostd {

/// The kernel's nexthop objects (ip-nexthop(8)), kept up to date by the messages given to it, in order. Routes name
/// them by their ids; with net.ipv4.nexthop_compat_mode=0 that is all the kernel tells of such a route's next hops.
class NexthopTable {
  public:
    /// Takes RTM_NEWNEXTHOP and RTM_DELNEXTHOP as notifications; other messages are passed over.
    void take(const nlmsghdr& message);

    /// Between the first and the last of these every object is listed anew, while notifications go on, which are newer.
    /// What was neither listed nor told of has gone.
    void beginListing();
    void list(const nlmsghdr& message);
    void endListing();

    /// Gives a route that goes through an object the next hops that it has now, unless the kernel told them itself. One
    /// whose object isn't known has none that packets can take.
    void resolve(Route& route) const;
    /// Whether the condition holds for the id of one of the groups that an object is in.
    template <class Condition>
    [[nodiscard]] bool anyGroupOf(uint32_t id, const Condition& holds) const {
        for (auto at = members_.lower_bound({id, 0}); at != members_.end() && at->first == id; ++at)
            if (holds(at->second)) return true;
        return false;
    }

  private:
    struct Object {
        Route::NextHop hop;
        std::vector<uint32_t> group;  ///< ids of its members; empty for an object that is none
    };
    using Objects = std::unordered_map<uint32_t, Object>;
    static std::pair<uint32_t, Object> read(const nlmsghdr& message);
    void enter(uint32_t id, const Object& object);
    void remove(uint32_t id);

    Objects objects_;
    std::set<std::pair<uint32_t, uint32_t>> members_;  ///< member and group
    bool isListing_ = false;
    Objects listed_;
    std::set<uint32_t> told_;  ///< ids of notifications during this listing
};

}  // namespace hostd
