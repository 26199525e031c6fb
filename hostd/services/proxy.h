#pragma once

#include <chrono>
#include <functional>

#include "hostd/services/squid.h"
#include "hostd/source/problem_log.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

/// {96, 1}: the web proxy's counters. contracts/proxy.h has the fields. squid is queried on a helper thread: every
/// kMaxAge while requests come, then less often (see Watch). Before squid's first answer, and while it doesn't answer,
/// all fields are absent; a line is logged when that begins and when it ends.
class Proxy : public tn::Handler {
  public:
    static constexpr std::chrono::seconds kMaxAge{15};  ///< each reading writes two lines to squid's log

    /// @param read  runs on the helper thread
    explicit Proxy(std::function<SquidReading()> read);

    tn::message cmdGet(const tn::message& request) override;

  private:
    Watch<SquidReading> watch_;
    ProblemLog problems_{"proxy"};
};

}  // namespace hostd
