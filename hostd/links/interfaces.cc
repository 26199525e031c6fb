#include "hostd/links/interfaces.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "contracts/interface_counters.h"
#include "contracts/interfaces.h"
#include "hostd/log.h"
#include "hostd/table/sizes.h"

namespace hostd {

namespace interfaces = contracts::interfaces;
namespace counters = contracts::interface_counters;

namespace {

bool isRadio(const std::string& sysfs, const std::string& name) {
    return ::access((sysfs + "/class/net/" + name + "/phy80211").c_str(), F_OK) == 0;
}

constexpr std::chrono::seconds kModesMaxAge{5};
// Modes are read ahead for as long as a client's walk takes, and hardly ever without requests: the last ones are kept.
constexpr std::chrono::seconds kModesGracePeriod{5};
constexpr std::chrono::hours kModesIdleInterval{1};
constexpr std::chrono::milliseconds kInterval{10};  // minimum delay before transitional statuses are checked

uint32_t wholeSeconds(std::chrono::milliseconds time) {
    return static_cast<uint32_t>(std::chrono::floor<std::chrono::seconds>(time).count());
}

uint32_t typeOf(const Link& link) { return link.kind == interfaces::kind::Wireless ? link_type::kRadio : link.type; }

/// The value of SpeedSelector for a speed in Mbit/s.
uint32_t speedSelector(uint32_t speed) {
    switch (speed) {
        case 10:
            return interfaces::speed_selector::Mbit10;
        case 100:
            return interfaces::speed_selector::Mbit100;
        case 1000:
            return interfaces::speed_selector::Mbit1000;
        default:
            return interfaces::speed_selector::None;
    }
}

}  // namespace

Interfaces::Interfaces(const std::string& sysfs, LinkSwitch switcher, DriverSource drivers, ModeSource modes)
    : switch_(std::move(switcher)),
      debouncer_([this](uint32_t id, const std::string& name, uint32_t status) { report(id, name, status); }),
      links_([sysfs](const std::string& name) { return isRadio(sysfs, name); },
             [this](const Link& link, uint32_t before, uint32_t status) {
                 debouncer_.change(link, before, status, tn::sinceBoot());
                 reportLastingLater();
             }),
      monitor_(links_),
      drivers_(std::move(drivers)),
      modeWatch_("link modes", std::move(modes), kModesMaxAge, kModesIdleInterval, kModesGracePeriod) {
    policySet().add_policy(interfaces::kList, tn::right::Reading);
    policySet().add_policy(interfaces::kGetSpeed, tn::right::Reading);
}

void Interfaces::loadPermData() {
    monitor_.start();
    refresh();
    drivers_.keepReading();
}

void Interfaces::refresh() {
    monitor_.refresh();
    if (links_.version() != driversVersion_) watchDrivers();
}

void Interfaces::watchDrivers() {
    driversVersion_ = links_.version();
    std::vector<uint32_t> made;
    for (const Link* link = links_.firstFrom(0); link != nullptr; link = links_.firstFrom(link->index + 1))
        if (link->hasDriver) made.push_back(link->index);
    drivers_.setInterfaces(std::move(made));
}

const LinkTable& Interfaces::currentLinks() {
    refresh();
    return links_;
}

void Interfaces::apply(const nlmsghdr& message) { links_.apply(message, tn::sinceBoot()); }

void Interfaces::refreshRows(std::span<const uint32_t> ids) {
    // The kernel doesn't notify of a new alias while the link is down.
    if (areCountersWanted() || wanted().has(tn::field::Comment))
        monitor_.refreshCounters(ids, tn::sinceBoot(), kMaxAge);
    if (wanted().hasAnyOf(tn::Kind::U64) || wanted().has(interfaces::SpeedSelector)) drivers_.refresh();
    areDetailsWanted_ = wanted().hasAnyOf(interfaces::kFirstDetail, interfaces::kLastDetail);
    if (!areDetailsWanted_) return;
    if (wanted().has(interfaces::Speed) || wanted().has(interfaces::Duplex))
        if (auto latest = modeWatch_.latest()) modes_ = std::move(latest);
    if (wanted().has(interfaces::InUnicastOnly) || wanted().has(interfaces::OutUnicastOnly))
        for (const uint32_t id : ids) countUnicast(*links_.find(id));
}

void Interfaces::countUnicast(Link& link) const {
    const DriverCounters* driver = link.hasDriver ? drivers_.counters(link.index) : nullptr;
    const auto counted = [driver](tn::u64_id counter) {
        return driver == nullptr ? 0 : driver->value(counters::indexOf(counter));
    };
    const auto raise = [](uint64_t& unicast, uint64_t all, uint64_t others) {
        unicast = std::max(unicast, all - std::min(all, others));
    };
    raise(link.inUnicast, link.counters.rx_packets, link.counters.multicast + counted(counters::RxBroadcast));
    raise(link.outUnicast, link.counters.tx_packets, counted(counters::TxMulticast) + counted(counters::TxBroadcast));
}

bool Interfaces::areCountersWanted() const {
    constexpr tn::u32_id kNarrow[] = {interfaces::InDiscards, interfaces::OutDiscards, interfaces::InErrors,
                                      interfaces::OutErrors, interfaces::Discontinuity};
    return wanted().hasAnyOf(tn::Kind::U64) || std::ranges::any_of(kNarrow, [&](auto id) { return wanted().has(id); });
}

std::optional<uint32_t> Interfaces::firstFrom(uint32_t id) const {
    const Link* link = links_.firstFrom(id);
    return link == nullptr ? std::nullopt : std::optional(link->index);
}

void Interfaces::writeRow(uint32_t id, tn::message& row) const {
    const Link& link = *links_.find(id);
    const WantedFields& w = wanted();
    // In ascending order, which a message appends without searching: by kind, then by number.
    if (areDetailsWanted_) writeDetailBools(link, row);
    if (link.isRunning() && w.has(interfaces::Running)) row.insert_bool(interfaces::Running, true);
    if (!link.isEnabled() && w.has(tn::field::Disabled)) row.insert_bool(tn::field::Disabled, true);
    if (link.bridgePriority && w.has(interfaces::Priority)) row.insert_u32(interfaces::Priority, *link.bridgePriority);
    const bool isVlan = link.kind == interfaces::kind::Vlan;
    if ((isVlan || link.kind == interfaces::kind::Ethernet) && w.has(interfaces::SpeedSelector))
        row.insert_u32(interfaces::SpeedSelector, speedOf(link));
    if (areDetailsWanted_) writeDetailNumbers(link, row);
    if (isVlan && link.lower != 0 && w.has(interfaces::Parent)) row.insert_u32(interfaces::Parent, link.lower);
    if (w.has(interfaces::Kind)) row.insert_u32(interfaces::Kind, link.kind);
    if (w.has(interfaces::Flags)) row.insert_u32(interfaces::Flags, 0);
    if (w.has(interfaces::Status)) row.insert_u32(interfaces::Status, link.status());
    if (w.has(interfaces::Mtu)) row.insert_u32(interfaces::Mtu, link.mtu);
    if (link.countersAt && areCountersWanted()) writeCounters(link, row);
    if (w.has(interfaces::Name)) row.insert_string(interfaces::Name, link.name);
    if (!link.alias.empty() && w.has(tn::field::Comment)) row.insert_string(tn::field::Comment, link.alias);
    if (!link.address.empty() && w.has(interfaces::Mac)) row.insert_raw(interfaces::Mac, link.address);
}

void Interfaces::writeCounters(const Link& link, tn::message& row) const {
    const rtnl_link_stats64& counters = link.counters;
    const WantedFields& w = wanted();
    const uint64_t inDiscards = counters.rx_dropped + counters.rx_missed_errors;
    if (w.has(interfaces::InDiscards)) row.insert_u32(interfaces::InDiscards, low(inDiscards));
    if (w.has(interfaces::OutDiscards)) row.insert_u32(interfaces::OutDiscards, low(counters.tx_dropped));
    if (w.has(interfaces::InErrors)) row.insert_u32(interfaces::InErrors, low(counters.rx_errors));
    if (w.has(interfaces::OutErrors)) row.insert_u32(interfaces::OutErrors, low(counters.tx_errors));
    if (!w.hasAnyOf(tn::Kind::U64)) return;
    static const DriverCounters kNone;
    insertCounters(row, w, counters, link.hasDriver ? drivers_.counters(link.index) : &kNone);
    if (w.has(interfaces::InUnicastOnly)) row.insert_u64(interfaces::InUnicastOnly, link.inUnicast);
    if (w.has(interfaces::OutUnicastOnly)) row.insert_u64(interfaces::OutUnicastOnly, link.outUnicast);
    if (w.has(interfaces::InOctets)) row.insert_u64(interfaces::InOctets, counters.rx_bytes);
    if (w.has(interfaces::OutOctets)) row.insert_u64(interfaces::OutOctets, counters.tx_bytes);
    if (w.has(interfaces::InUnicast)) row.insert_u64(interfaces::InUnicast, counters.rx_packets);
    if (w.has(interfaces::OutUnicast)) row.insert_u64(interfaces::OutUnicast, counters.tx_packets);
}

void Interfaces::writeDetailBools(const Link& link, tn::message& row) const {
    const WantedFields& w = wanted();
    if (link.isPromiscuous && w.has(interfaces::Promiscuous)) row.insert_bool(interfaces::Promiscuous, true);
    const bool hasConnector = link.hasDriver && typeOf(link) == link_type::kEthernet;
    if (hasConnector && w.has(interfaces::Connector)) row.insert_bool(interfaces::Connector, true);
}

void Interfaces::writeDetailNumbers(const Link& link, tn::message& row) const {
    const WantedFields& w = wanted();
    LinkMode mode;
    if (modes_)
        if (const auto read = modes_->find(link.index); read != modes_->end()) mode = read->second;
    if (mode.speed != 0 && w.has(interfaces::Speed)) row.insert_u32(interfaces::Speed, mode.speed);
    if (mode.duplex != 0 && w.has(interfaces::Duplex)) row.insert_u32(interfaces::Duplex, mode.duplex);
    if (w.has(interfaces::Type)) row.insert_u32(interfaces::Type, typeOf(link));
    if (w.has(interfaces::LastChange)) row.insert_u32(interfaces::LastChange, wholeSeconds(link.changedAt));
    if (w.has(interfaces::Discontinuity)) row.insert_u32(interfaces::Discontinuity, wholeSeconds(link.discontinuityAt));
}

void Interfaces::writeBrief(uint32_t id, tn::message& row) const {
    const Link& link = *links_.find(id);
    if (!link.isEnabled()) row.insert_bool(tn::field::Disabled, true);
    row.insert_u32(interfaces::Flags, 0);
    row.insert_u32(interfaces::Status, link.status());
}

bool Interfaces::isWanted(uint32_t id, const tn::message& request) const {
    return !request.has(interfaces::Kind) || request.get_u32(interfaces::Kind) == links_.find(id)->kind;
}

tn::message Interfaces::changeRow(uint32_t id, const tn::message& request) {
    if (!request.has(tn::field::Disabled)) return {};
    const bool isUp = !request.get_bool(tn::field::Disabled);
    const std::string what = links_.find(id)->name + (isUp ? " up" : " down");
    if (!switch_) {
        hostLog << "link change refused: " << what << ": --allow-link-changes isn't set";
        return tn::errorMsg(tn::error::Refused,
                            "link change not allowed: the daemon runs without --allow-link-changes");
    }
    hostLog << "link change requested: " << what;
    const std::string reason = switch_(id, isUp);
    if (reason.empty()) return {};
    hostLog << "link change failed: " << what << ": " << reason;
    return tn::errorMsg(tn::error::Refused, "link change failed: " + what + ": " + reason);
}

tn::message Interfaces::cmdUnknown(const tn::message& request, uint32_t command) {
    switch (command) {
        case interfaces::kList:
            return page(request, Detail::Brief);
        case interfaces::kGetSpeed:
            return replySpeed(request);
        default:
            return IdTable::cmdUnknown(request, command);
    }
}

tn::message Interfaces::replySpeed(const tn::message& request) {
    const uint32_t id = request.get_u32(tn::field::ObjectId);
    const Link* link = std::as_const(links_).find(id);
    if (link == nullptr) return tn::errorMsg(tn::error::NotFound, "no such interface");
    drivers_.refresh();
    tn::message reply;
    if (const uint32_t speed = speedOf(*link); speed != interfaces::speed_selector::None)
        reply.insert_u32(interfaces::SpeedSelector, speed);
    return reply;
}

uint32_t Interfaces::speedOf(const Link& link) const {
    const Link* driven = links_.drivenUnder(link);
    return speedSelector(driven == nullptr ? 0 : drivers_.speed(driven->index).value_or(0));
}

void Interfaces::report(uint32_t id, const std::string& name, uint32_t status) {
    const Link* link = std::as_const(links_).find(id);
    tn::message changed;
    if (link == nullptr || !link->isEnabled()) changed.insert_bool(tn::field::Disabled, true);
    changed.insert_u32(interfaces::Flags, 0);
    changed.insert_u32(interfaces::Status, status);
    changed.insert_u32(tn::field::ObjectId, id);
    changed.insert_string(interfaces::Name, name);
    notify(interfaces::kStatusChanged, changed);
}

void Interfaces::reportLastingLater() {
    const auto due = debouncer_.due();
    if (!due || timer_.isRunning()) return;
    timer_.start(std::max(*due - tn::sinceBoot(), kInterval), [this] {
        // The notification that ends a transitional status may still be queued.
        if (monitor_.catchUp(NetlinkFollower::kPacketsAtOnce)) debouncer_.reportLasting(tn::sinceBoot());
        reportLastingLater();
    });
}

bool Interfaces::shouldNotify(const tn::message& filter, const tn::message& notification) {
    const uint32_t wanted = filter.get_u32(interfaces::Status, interfaces::kStatusChanges);
    const uint32_t unwanted = filter.get_u32(interfaces::Flags);
    return (wanted & interfaces::kStatusChanges) != 0 && (notification.get_u32(interfaces::Flags) & unwanted) == 0;
}

}  // namespace hostd
