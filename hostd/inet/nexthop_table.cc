#include "hostd/inet/nexthop_table.h"

#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include "hostd/netlink/attributes.h"

namespace hostd {

template <class Family>
auto NexthopTable<Family>::read(const nlmsghdr& message) -> std::pair<uint32_t, Object> {
    const auto* about = payload<nhmsg>(message);
    if (about == nullptr) return {};
    const Attributes<NHA_GATEWAY> attributes(message, sizeof *about);
    const uint32_t link = attributes.number<uint32_t>(NHA_OIF).value_or(0);
    Object object{.hop = {.gateway = Family::address(attributes.octets(NHA_GATEWAY), link),
                          .link = link,
                          .hasGateway = attributes[NHA_GATEWAY] != nullptr,
                          .isUsable = isUsable(about->nh_flags)},
                  .group = {}};
    nexthop_grp member{};
    for (auto octets = attributes.octets(NHA_GROUP); octets.size() >= sizeof member;
         octets = octets.subspan(sizeof member)) {
        std::memcpy(&member, octets.data(), sizeof member);
        object.group.push_back(member.id);
    }
    return {attributes.number<uint32_t>(NHA_ID).value_or(0), std::move(object)};
}

template <class Family>
uint32_t NexthopTable<Family>::apply(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWNEXTHOP && message.nlmsg_type != RTM_DELNEXTHOP) return 0;
    auto [id, object] = read(message);
    if (id == 0) return 0;
    if (isListing_) notified_.insert(id);
    remove(id);
    if (message.nlmsg_type == RTM_DELNEXTHOP) return id;
    enter(id, object);
    objects_[id] = std::move(object);
    return id;
}

template <class Family>
void NexthopTable<Family>::enter(uint32_t id, const Object& object) {
    for (const uint32_t member : object.group) members_.emplace(member, id);
}

template <class Family>
void NexthopTable<Family>::remove(uint32_t id) {
    const auto gone = objects_.find(id);
    if (gone == objects_.end()) return;
    for (const uint32_t member : gone->second.group) members_.erase({member, id});
    objects_.erase(gone);
}

template <class Family>
void NexthopTable<Family>::beginListing() {
    isListing_ = true;
    listed_.clear();
    notified_.clear();
}

template <class Family>
void NexthopTable<Family>::list(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWNEXTHOP) return;
    auto [id, object] = read(message);
    if (id != 0 && !notified_.contains(id)) listed_[id] = std::move(object);
}

template <class Family>
void NexthopTable<Family>::endListing() {
    for (const uint32_t id : notified_) {
        listed_.erase(id);
        if (auto known = objects_.extract(id)) listed_.insert(std::move(known));
    }
    objects_ = std::exchange(listed_, {});
    members_.clear();
    for (const auto& [id, object] : objects_) enter(id, object);
    isListing_ = false;
    notified_.clear();
}

template <class Family>
void NexthopTable<Family>::resolve(Route<Family>& route) const {
    if (route.nexthop == 0 || route.type != RTN_UNICAST) return;
    const bool isReported = route.hops.size() > 1 || route.hops[0].link != 0 || route.hops[0].hasGateway;
    if (isReported) return;
    route.hops.clear();
    const auto add = [&](uint32_t id) {
        const auto object = objects_.find(id);
        if (object != objects_.end() && object->second.group.empty()) route.hops.push_back(object->second.hop);
    };
    add(route.nexthop);
    if (const auto group = objects_.find(route.nexthop); group != objects_.end())
        for (const uint32_t member : group->second.group) add(member);
    if (route.hops.empty()) route.hops.push_back({.isUsable = false});
}

template class NexthopTable<Ipv4>;
template class NexthopTable<Ipv6>;

}  // namespace hostd
