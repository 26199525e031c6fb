#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {96, 1}: the counters of the web proxy. hostd/services/proxy.h owns them, from squid's cache manager.
/// docs/proxy-counters.md lists them by SNMP object.
///
/// Counters are the low 32 bits of squid's. Storage and Memory of 4 TiB and more are reported as 2^32 - 1 KiB. All
/// fields are absent until squid has answered, and while it doesn't.
namespace contracts::proxy {

inline constexpr std::array<uint32_t, 2> kPath = {96, 1};

// Fields: unit; page of the cache manager: line

inline constexpr tn::u32_id StartedAt{100};       ///< s from the machine's start to squid's; info: UP Time
inline constexpr tn::u32_id ServerRequests{102};  ///< requests sent to servers; counters: server.all.requests
inline constexpr tn::u32_id Hits{103};            ///< requests answered from the cache; counters: client_http.hits
inline constexpr tn::u32_id Storage{111};         ///< KiB of objects on disks; info: Storage Swap size
inline constexpr tn::u32_id Memory{113};          ///< KiB of objects in memory; info: Storage Mem size
inline constexpr tn::u32_id ServerIn{121};        ///< KiB received from servers; counters: server.all.kbytes_in
inline constexpr tn::u32_id ServerOut{122};       ///< KiB sent to servers; counters: server.all.kbytes_out
inline constexpr tn::u32_id ClientOut{123};       ///< KiB sent to clients; counters: client_http.kbytes_out

}  // namespace contracts::proxy
