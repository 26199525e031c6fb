#pragma once

#include <cstdint>

/// Object classes: what a get or get-all wants of an owner's objects, sent as tn::field::GetFlags. The owners of this
/// tree answer each of them alike, with every field they have; owners elsewhere tell them apart, so each request
/// carries the one its objects have always been fetched with.
namespace contracts::object_class {

inline constexpr uint32_t kWhole = 0x5;                             ///< configuration and state; what most objects need
inline constexpr uint32_t kWithStatistics = kWhole | 0x2;           ///< and counters: queues, the web proxy
inline constexpr uint32_t kWithInterfaceCounters = kWhole | 0x100;  ///< and counters of interfaces

}  // namespace contracts::object_class
