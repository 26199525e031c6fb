#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hostd/links/link.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// The links of this host, ordered by index, kept up to date by the messages applied to it.
class LinkTable : public FollowedTable {
  public:
    /// Called with each change of a link's status; a link that doesn't exist has status 0. `link` is as it is now; when
    /// it was removed, it is valid during the call only.
    using StatusChanged = std::function<void(const Link& link, uint32_t before, uint32_t status)>;
    /// True if the driver's Ethernet link with this name is a radio.
    using IsWireless = std::function<bool(const std::string& name)>;

    LinkTable(IsWireless isWireless, StatusChanged statusChanged);

    /// Applies RTM_NEWLINK and RTM_DELLINK, and RTM_NEWSTATS for existing links; ignores other messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;
    void beginListing() override;
    void endListing(bool isWhole) override;

    [[nodiscard]] size_t size() const { return links_.size(); }
    /// The link with this index, or nullptr; valid until it is removed. A walk costs O(1) a step: the place of the last
    /// look-up is tried first.
    [[nodiscard]] const Link* find(uint32_t index) const;
    [[nodiscard]] Link* find(uint32_t index);
    /// The first link whose index isn't below this one, or nullptr.
    [[nodiscard]] const Link* firstFrom(uint32_t index) const;
    /// The link whose driver sends this one's frames: itself or one under it. nullptr when there is none.
    [[nodiscard]] const Link* drivenUnder(const Link& link) const;
    /// Changes whenever a link comes, goes or changes.
    [[nodiscard]] uint64_t version() const { return version_; }

  private:
    struct Entry {
        uint32_t index;
        bool isListed;
        std::unique_ptr<Link> link;
    };
    void applyNew(const nlmsghdr& message, std::chrono::milliseconds now);
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
