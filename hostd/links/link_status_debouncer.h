#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "hostd/links/link.h"

namespace hostd {

/// Which changes of a link's status are told, so that each is told once. A link that comes up has carrier a moment
/// before it is operational, and the kernel tells of both: on such a half way a status counts only when it lasts.
class StatusNews {
  public:
    /// ms that a half-way status has to last; the kernel follows a change of carrier within a second.
    static constexpr uint64_t kSettle = 1500;
    using Tell = std::function<void(uint32_t index, const std::string& name, uint32_t status)>;

    explicit StatusNews(Tell tell) : tell_(std::move(tell)) {}

    /// Takes a change of a link's status, in bits of contracts::interfaces::status, and tells of it unless it is half
    /// way, or the end of a way back to what was told last.
    void changed(const Link& link, uint32_t before, uint32_t status, uint64_t now);
    /// Tells of what has lasted.
    void tellLasting(uint64_t now);
    /// When tellLasting has work next, in milliseconds; nothing when no link is half way.
    [[nodiscard]] std::optional<uint64_t> due() const;

  private:
    struct HalfWay {
        std::string name;
        uint32_t told;
        uint32_t status;
        uint64_t due;
    };
    Tell tell_;
    std::map<uint32_t, HalfWay> halfWay_;  ///< by the link's index
};

}  // namespace hostd
