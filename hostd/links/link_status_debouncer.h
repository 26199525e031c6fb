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

/// Debounces link status changes so that each is reported once. A link gets carrier shortly before it becomes
/// operational; that transitional status is reported only if it lasts. Points in time are as of tn::sinceBoot.
class LinkStatusDebouncer {
  public:
    /// How long a transitional status has to last; the kernel follows a change of carrier within a second.
    static constexpr std::chrono::milliseconds kSettlingTime{1500};
    using Report = std::function<void(uint32_t index, const std::string& name, uint32_t status)>;

    /// @param report  called with each status to report, in bits of link_status
    explicit LinkStatusDebouncer(Report report) : report_(std::move(report)) {}

    /// Accepts a change of a link's status, in bits of contracts::interfaces::status. Reports it at once unless the new
    /// status is transitional or is the one reported last.
    void change(const Link& link, uint32_t before, uint32_t status, std::chrono::milliseconds now);
    /// Reports the transitional statuses that have lasted.
    void reportLasting(std::chrono::milliseconds now);
    /// When reportLasting has work next; nothing when no link's status is transitional.
    [[nodiscard]] std::optional<std::chrono::milliseconds> due() const;

  private:
    struct Transition {
        std::string name;
        uint32_t reported;  ///< status reported last
        uint32_t status;
        std::chrono::milliseconds due;
    };
    Report report_;
    std::map<uint32_t, Transition> transitions_;  ///< by the link's index
};

}  // namespace hostd
