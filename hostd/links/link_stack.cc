#include "hostd/links/link_stack.h"

#include <algorithm>
#include <set>
#include <utility>

#include "contracts/interface_stack.h"

namespace hostd {

namespace stack = contracts::interface_stack;

LinkStack::LinkStack(std::function<const LinkTable&()> links)
    : PositionTable({stack::Higher, stack::Lower}), links_(std::move(links)) {}

std::vector<LinkStack::Pair> LinkStack::pairsOf(const LinkTable& links) {
    std::vector<Pair> pairs;
    std::set<uint32_t> haveHigher, haveLower;
    const auto add = [&](uint32_t higher, uint32_t lower) {
        pairs.push_back({higher, lower});
        haveHigher.insert(lower);
        haveLower.insert(higher);
    };
    const auto next = [&](const Link& link) { return links.firstFrom(link.index + 1); };
    for (const Link* link = links.firstFrom(0); link != nullptr; link = next(*link)) {
        // A link above or below may be in another network namespace.
        if (link->master != 0 && links.find(link->master) != nullptr) add(link->master, link->index);
        if (link->lower != 0 && links.find(link->lower) != nullptr) add(link->index, link->lower);
    }
    for (const Link* link = links.firstFrom(0); link != nullptr; link = next(*link)) {
        if (!haveHigher.contains(link->index)) pairs.push_back({0, link->index});
        if (!haveLower.contains(link->index)) pairs.push_back({link->index, 0});
    }
    std::ranges::sort(pairs);
    return pairs;
}

void LinkStack::refresh() {
    const LinkTable& links = links_();
    if (version_ == links.version()) return;
    std::vector<Pair> now = pairsOf(links);
    if (version_ && now != rows_) changed_ = tn::sinceBoot();
    version_ = links.version();
    rows_ = std::move(now);
}

tn::message LinkStack::getObject(uint32_t) {
    refresh();
    tn::message reply;
    reply.insert_u64(stack::LastChange, static_cast<uint64_t>(changed_.count()));
    reply.insert_u64(stack::InterfacesLastChange, static_cast<uint64_t>(links_().membersChangedAt().count()));
    return reply;
}

RowKey LinkStack::keyOf(size_t row) const {
    RowKey key(8);
    key.putU32(0, rows_[row].higher);
    key.putU32(4, rows_[row].lower);
    return key;
}

void LinkStack::writeRow(size_t row, tn::message& item) const {
    item.insert_u32(stack::Higher, rows_[row].higher);
    item.insert_u32(stack::Lower, rows_[row].lower);
}

}  // namespace hostd
