#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hostd/links/link.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// The links of this host, ordered by index, kept up to date by the messages given to it.
class LinkTable : public FollowedTable {
  public:
    /// Told of each change of a link's status; a link that isn't there has status 0. `link` is as it is now, and is
    /// about to go when its status has become 0 by removal.
    using StatusChanged = std::function<void(const Link& link, uint32_t before, uint32_t status)>;
    /// Says whether the driver's Ethernet link with this name is a radio.
    using IsWireless = std::function<bool(const std::string& name)>;

    LinkTable(IsWireless isWireless, StatusChanged statusChanged);

    /// Takes RTM_NEWLINK and RTM_DELLINK, and RTM_NEWSTATS for the links that are there; other messages are passed
    /// over.
    void take(const nlmsghdr& message, uint64_t now) override;
    void beginListing() override;
    void endListing(bool isWhole) override;

    [[nodiscard]] size_t size() const { return links_.size(); }
    /// The link with this index, or nullptr. A walk costs O(1) a step: the place of the last look-up is tried first.
    [[nodiscard]] const Link* find(uint32_t index) const;
    [[nodiscard]] Link* find(uint32_t index);
    /// The first link whose index isn't below this one, or nullptr.
    [[nodiscard]] const Link* firstFrom(uint32_t index) const;
    /// The link whose driver moves this one's frames: itself or one under it. nullptr when there is none.
    [[nodiscard]] const Link* drivenUnder(const Link& link) const;
    /// Changes whenever a link comes, goes or changes.
    [[nodiscard]] uint64_t version() const { return version_; }

  private:
    struct Entry {
        uint32_t index;
        bool isListed;
        std::unique_ptr<Link> link;
    };
    void takeNew(const nlmsghdr& message, uint64_t now);
    void insert(size_t at, Link link);
    void remove(size_t at);
    [[nodiscard]] size_t place(uint32_t index) const;
    [[nodiscard]] bool isAt(size_t at, uint32_t index) const;

    IsWireless isWireless_;
    StatusChanged statusChanged_;
    std::vector<Entry> links_;
    mutable size_t last_ = 0;  ///< place of the last look-up
    uint64_t version_ = 0;
};

}  // namespace hostd
