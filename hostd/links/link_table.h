#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostd/links/link.h"
#include "hostd/netlink/netlink_follower.h"

namespace hostd {

/// The links of this host, ordered by ifindex. The kernel's messages that are applied to it keep it current.
class LinkTable : public FollowedTable {
  public:
    /// Called after each change of a link's status, in bits of contracts::interfaces::status. A link that doesn't exist
    /// has status 0, so that adding and removing links are changes as well. `link` is valid during the call, and has
    /// its new state, or its last one if it was removed. The function must not change the table.
    using StatusChanged = std::function<void(const Link& link, uint32_t before, uint32_t status)>;
    /// True if the Ethernet link with this name is a radio. Called once for each new Ethernet link that has a driver.
    using IsWireless = std::function<bool(const std::string& name)>;

    LinkTable(IsWireless isWireless, StatusChanged statusChanged);

    /// Applies RTM_NEWLINK, RTM_DELLINK, and RTM_NEWSTATS about existing links. Ignores other and malformed messages.
    void apply(const nlmsghdr& message, std::chrono::milliseconds now) override;
    /// Updates the counters of the links that /proc/net/dev has, as updateCounters() does. O(n log n).
    /// @param text  of that file
    void applyNetDev(std::string_view text, std::chrono::milliseconds now);
    void beginListing() override;
    void endListing(bool isWhole) override;

    [[nodiscard]] size_t size() const { return links_.size(); }
    /// The link with this ifindex, or nullptr. It is valid until the link is removed. O(log n); O(1) in a walk, since
    /// the position of the last look-up is tried first.
    [[nodiscard]] const Link* find(uint32_t index) const;
    [[nodiscard]] Link* find(uint32_t index);
    /// The first link whose ifindex isn't below this one, or nullptr. Validity and cost are as for find().
    [[nodiscard]] const Link* firstFrom(uint32_t index) const;
    /// The link whose driver transmits the frames of this one: the link itself if it has a driver, else the next one
    /// below it that has. nullptr when there is none.
    [[nodiscard]] const Link* drivenUnder(const Link& link) const;
    /// When a link was last added or removed, as of tn::sinceBoot; 0 if none was since the first listing.
    [[nodiscard]] std::chrono::milliseconds membersChangedAt() const { return membersChangedAt_; }
    /// A number that increases whenever a link is added, removed or reported by an RTM_NEWLINK.
    [[nodiscard]] uint64_t version() const { return version_; }

  private:
    struct Entry {
        uint32_t index;
        bool isListed;               ///< reported since beginListing()
        std::unique_ptr<Link> link;  ///< stays where it is when entries move
    };
    /// Applies an RTM_NEWLINK: adds the link or updates it.
    void applyNew(const nlmsghdr& message, std::chrono::milliseconds now);
    void insert(size_t at, Link link, std::chrono::milliseconds now);
    void remove(size_t at, std::chrono::milliseconds now);
    /// The time of a change that is seen now: 0 until the first listing has ended, since it reports what was there.
    [[nodiscard]] std::chrono::milliseconds timeOfChange(std::chrono::milliseconds now) const {
        return isListed_ ? now : std::chrono::milliseconds(0);
    }
    /// Position of the first link whose ifindex isn't below this one.
    [[nodiscard]] size_t place(uint32_t index) const;
    [[nodiscard]] bool isAt(size_t at, uint32_t index) const;

    IsWireless isWireless_;
    StatusChanged statusChanged_;
    std::vector<Entry> links_;  ///< by ifindex, ascending
    mutable size_t last_ = 0;   ///< result of the last place()
    uint64_t version_ = 0;
    bool isListed_ = false;  ///< a listing was whole
    std::chrono::milliseconds membersChangedAt_{0};
};

}  // namespace hostd
