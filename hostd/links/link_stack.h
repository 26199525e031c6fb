#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <vector>

#include "hostd/links/link_table.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// {24, 1000}: which links run on top of which. contracts/interface_stack.h has the fields.
class LinkStack : public PositionTable {
  public:
    /// @param links  called once for each request; returns the current links, which outlive this
    explicit LinkStack(std::function<const LinkTable&()> links);

    /// LastChange and InterfacesLastChange, whatever the id.
    tn::message getObject(uint32_t id) override;

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override;
    void writeRow(size_t row, tn::message& item) const override;

  private:
    struct Pair {
        uint32_t higher;
        uint32_t lower;
        friend auto operator<=>(const Pair&, const Pair&) = default;  // NOLINT(modernize-use-nullptr): a false alarm
    };
    static std::vector<Pair> pairsOf(const LinkTable& links);

    std::function<const LinkTable&()> links_;
    std::vector<Pair> rows_;                ///< ascending
    std::optional<uint64_t> version_;       ///< of the links that rows_ was made from
    std::chrono::milliseconds changed_{0};  ///< as of tn::sinceBoot; 0 before the first change
};

}  // namespace hostd
