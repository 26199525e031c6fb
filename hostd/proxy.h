#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hostd/background.h"
#include "hostd/squid.h"
#include "tn/handler.h"

namespace hostd {

/// {96, 1}: the web proxy's counters. squid is asked on a helper thread, when somebody asks here and the last reading
/// is older than kMaxAge. Whoever asks then waits for the new one, but at most kWait, and that once within kMaxAge;
/// else the older one is shown, up to kTooOld. Without squid all fields are absent.
class Proxy : public tn::Handler {
  public:
    static constexpr uint64_t kMaxAge = 5000;      ///< ms; squid writes two lines for each reading into its log
    static constexpr uint64_t kTooOld = 60'000;    ///< ms
    static constexpr uint64_t kWait = 100;         ///< ms
    static constexpr uint64_t kPatience = 15'000;  ///< ms

    /// @param read  runs on the helper thread
    explicit Proxy(std::function<SquidReading()> read);

    tn::message cmdGet(const tn::message& request) override;

  private:
    void refresh(uint64_t now);

    Background<SquidReading> background_;
    std::shared_ptr<const SquidReading> taken_;
    std::optional<uint64_t> waitedAt_;
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
