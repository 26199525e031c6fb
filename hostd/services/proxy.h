#pragma once

#include <chrono>
#include <functional>

#include "hostd/services/squid.h"
#include "hostd/source/problem_log.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

/// {96, 1}: the web proxy's counters. contracts/proxy.h has the fields. A helper thread queries squid from the first
/// request on. While there are requests, readings older than kMaxAge are renewed; later squid is queried less often
/// (see Watch). All fields are absent before squid's first answer and while it doesn't answer. A line is logged when
/// squid stops answering and when it answers again.
class Proxy : public tn::Handler {
  public:
    static constexpr std::chrono::seconds kMaxAge{15};  ///< not less: each reading adds two lines to squid's log

    /// @param read  runs on the helper thread
    explicit Proxy(std::function<SquidReading()> read);

    /// The reply is empty when there is no reading (see Watch).
    tn::message cmdGet(const tn::message& request) override;

  private:
    Watch<SquidReading> watch_;
    ProblemLog problems_{"proxy"};
};

}  // namespace hostd
