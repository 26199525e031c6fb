#pragma once

#include <cstdint>

/// Object classes: which fields of an owner's objects a get or get-all requests, sent as tn::field::GetFlags. hostd
/// ignores them and sends every field that it has. Owners elsewhere distinguish them, so the class of each request is
/// fixed.
namespace contracts::object_class {

inline constexpr uint32_t kWhole = 0x5;                             ///< configuration and state, for most objects
inline constexpr uint32_t kWithStatistics = kWhole | 0x2;           ///< with counters: queues, the web proxy
inline constexpr uint32_t kWithInterfaceCounters = kWhole | 0x100;  ///< with counters of interfaces

}  // namespace contracts::object_class
