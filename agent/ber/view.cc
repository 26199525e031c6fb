#include "agent/ber/view.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>

namespace snmp {

namespace {

/// The first name after a subtree; empty if there is none.
OID endOf(OID root) {
    while (!root.empty() && root.back() == UINT32_MAX) root.pop_back();
    if (!root.empty()) ++root.back();
    return root;
}

/// A name before which no object is that isn't before `name` as well: the last one in practice.
OID justBefore(OID name) {
    if (name.empty()) return name;
    if (name.back() == 0) {
        name.pop_back();
        return name;
    }
    --name.back();
    return name + UINT32_MAX;
}

/// The longest subtree that a name is in decides.
bool isIncluded(const std::vector<View::Subtree>& subtrees, const OID& name) {
    const View::Subtree* longest = nullptr;
    for (const View::Subtree& subtree : subtrees) {
        if (!name.hasPrefix(subtree.root)) continue;
        const bool isSame = longest != nullptr && subtree.root.size() == longest->root.size();
        if (longest == nullptr || subtree.root.size() > longest->root.size() || (isSame && subtree.isExcluded))
            longest = &subtree;
    }
    return longest != nullptr && !longest->isExcluded;
}

}  // namespace

View::View(std::vector<Subtree> subtrees) : subtrees_(std::move(subtrees)) {
    std::set<OID> borders;
    for (const Subtree& subtree : subtrees_) {
        borders.insert(subtree.root);
        if (OID end = endOf(subtree.root); !end.empty()) borders.insert(std::move(end));
    }
    for (const OID& border : borders) {
        const bool isVisible = isIncluded(subtrees_, border);
        if (isVisible != (!edges_.empty() && edges_.back().isVisible)) edges_.push_back({border, isVisible});
    }
}

std::vector<View::Edge>::const_iterator View::edgeAfter(const OID& name) const {
    return std::ranges::upper_bound(edges_, name, {}, &Edge::from);
}

bool View::has(const OID& name) const {
    if (isEverything()) return true;
    const auto next = edgeAfter(name);
    return next != edges_.begin() && std::prev(next)->isVisible;
}

std::optional<OID> View::skip(const OID& name) const {
    auto next = edgeAfter(name);
    if (next != edges_.end() && !next->isVisible) ++next;
    if (next == edges_.end()) return std::nullopt;
    return std::max(name, justBefore(next->from));
}

}  // namespace snmp
