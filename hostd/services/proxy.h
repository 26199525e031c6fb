#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hostd/services/squid.h"
#include "hostd/source/watch.h"
#include "tn/handler.h"

namespace hostd {

/// {96, 1}: the web proxy's counters. squid is asked on a helper thread, every kMaxAge as long as somebody asks here,
/// then less often (see Watch). Before its first answer, and without squid, all fields are absent.
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

/// The contract of {96, 1}: fields of a get reply. docs/proxy-counters.md has it by SNMP object. Counters are the lower
/// half of squid's; sizes stop at 4 TiB.
namespace proxy {
//                                      unit       source, in squid's cache manager
constexpr tn::u32_id StartedAt{100};       // s uptime   info: UP Time
constexpr tn::u32_id ServerRequests{102};  //          counters: server.all.requests
constexpr tn::u32_id Hits{103};            //          counters: client_http.hits
constexpr tn::u32_id Storage{111};         // KiB      info: Storage Swap size
constexpr tn::u32_id Memory{113};          // KiB      info: Storage Mem size
constexpr tn::u32_id ServerIn{121};        // KiB      counters: server.all.kbytes_in
constexpr tn::u32_id ServerOut{122};       // KiB      counters: server.all.kbytes_out
constexpr tn::u32_id ClientOut{123};       // KiB      counters: client_http.kbytes_out
}  // namespace proxy

}  // namespace hostd
