#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hostd/links/link.h"

namespace hostd {

/// Debounces changes of links' statuses, so that a change is reported once. A link gets carrier shortly before it
/// becomes operational. Its status between the two, with only one of the bits Up and Operational, is transitional: it
/// is reported only if it lasts for kSettlingTime. Points in time are as of tn::sinceBoot.
class LinkStatusDebouncer {
  public:
    /// How long a transitional status has to last. The kernel updates the operational state within a second after a
    /// change of carrier.
    static constexpr std::chrono::milliseconds kSettlingTime{1500};
    /// Called with each status to report: bits of contracts::interfaces::status.
    using Report = std::function<void(uint32_t index, const std::string& name, uint32_t status)>;

    explicit LinkStatusDebouncer(Report report) : report_(std::move(report)) {}

    /// Accepts a change of a link's status. Reports the new status at once, unless it is transitional or the one
    /// reported last.
    /// @param before  bits of contracts::interfaces::status, as is `status`
    void change(const Link& link, uint32_t before, uint32_t status, std::chrono::milliseconds now);
    /// Reports the transitional statuses that have lasted for kSettlingTime by now.
    void reportLasting(std::chrono::milliseconds now);
    /// When to call reportLasting() next; nothing while no link's status is transitional.
    [[nodiscard]] std::optional<std::chrono::milliseconds> due() const;

  private:
    /// A link with a transitional status.
    struct Transition {
        std::string name;
        uint32_t reported;              ///< status that was reported last
        uint32_t status;                ///< the current one
        std::chrono::milliseconds due;  ///< when it has lasted for kSettlingTime
    };
    Report report_;
    std::map<uint32_t, Transition> transitions_;  ///< by the link's index
};

}  // namespace hostd
