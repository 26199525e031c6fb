#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hostd/services/squid.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

/// {96, 1}: the web proxy's counters. contracts/proxy.h has the fields. squid is queried on a helper thread: every
/// kMaxAge while requests come, then less often (see Watch). Before squid's first answer, and while it doesn't answer,
/// all fields are absent; a line is logged when that begins and when it ends.
class Proxy : public tn::Handler {
  public:
    static constexpr uint64_t kMaxAge = 15'000;  ///< ms; each reading writes two lines to squid's log

    /// @param read  runs on the helper thread
    explicit Proxy(std::function<SquidReading()> read);

    tn::message cmdGet(const tn::message& request) override;

  private:
    [[nodiscard]] std::shared_ptr<const SquidReading> latest();

    Watch<SquidReading> watch_;
    std::string problem_;
};

}  // namespace hostd
