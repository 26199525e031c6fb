#pragma once

#include <optional>
#include <vector>

#include "agent/ber/oid.h"

namespace snmp {

/// Which part of the tree a sender may see (RFC 3415, 4): subtrees that are included, and subtrees that are left out.
/// Of the subtrees that a name is in, the one with the longest root decides; a name that is in none isn't visible.
/// Families of subtrees, which the RFC describes by masks, aren't supported.
class View {
  public:
    struct Subtree {
        OID root;
        bool isExcluded = false;

        friend bool operator==(const Subtree&, const Subtree&) = default;
    };

    View() = default;  ///< everything
    /// @param subtrees  in any order; none means everything. Of two with the same root, the excluded one counts
    explicit View(std::vector<Subtree> subtrees);

    [[nodiscard]] const std::vector<Subtree>& subtrees() const { return subtrees_; }  ///< as passed
    [[nodiscard]] bool isEverything() const { return subtrees_.empty(); }
    [[nodiscard]] bool has(const OID& name) const;
    /// Where a walk continues that has come to a name outside the view: after the returned name, which is the last one
    /// before the next visible part of the tree, or the name itself if it is later. Nothing if no such part follows.
    [[nodiscard]] std::optional<OID> skip(const OID& name) const;

  private:
    /// A place where visibility changes: it holds from this name on, up to the next edge.
    struct Edge {
        OID from;
        bool isVisible;
    };
    /// The first edge after a name.
    [[nodiscard]] std::vector<Edge>::const_iterator edgeAfter(const OID& name) const;

    std::vector<Subtree> subtrees_;
    std::vector<Edge> edges_;  ///< in ascending order; visibility alternates, and is false before the first one
};

}  // namespace snmp
