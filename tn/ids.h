#pragma once

#include <cstdint>

/// Field ids of messages: 27 bits of number, 4 bits of kind, 1 bit for "array of that kind". One number with two kinds
/// is two fields. The types below make the kind part of the C++ type, so that code which reads a string field as a
/// number doesn't compile.
namespace tn {

constexpr uint32_t kFieldNumberMask = 0x07ffffff;

/// Kind and array bit of a field, at their position in the full id. flatten.cc has the layout of each kind's values.
enum class Kind : uint32_t {
    Bool = 0x00000000,
    U32 = 0x08000000,
    U64 = 0x10000000,
    Addr6 = 0x18000000,
    String = 0x20000000,
    Message = 0x28000000,
    Raw = 0x30000000,
    U32Array = 0x88000000,
    StringArray = 0xa0000000,
    MessageArray = 0xa8000000,
};

/// A field of one kind.
/// @tparam View  distinguishes types that read one field in different ways (u32_id, be32_id)
template <Kind K, int View = 0>
struct field_id {
    static constexpr Kind kind = K;
    /// Explicit, so that fields are accessed by the names in their contract and not by number.
    constexpr explicit field_id(uint32_t n) : number(n & kFieldNumberMask) {}
    /// Number, kind and array bit, as stored and sent.
    [[nodiscard]] constexpr uint32_t full() const { return number | static_cast<uint32_t>(K); }
    uint32_t number;
};

using bool_id = field_id<Kind::Bool>;
using u32_id = field_id<Kind::U32>;
using be32_id = field_id<Kind::U32, 1>;  ///< the same field as u32_id, stored and sent in network byte order
using u64_id = field_id<Kind::U64>;
using addr6_id = field_id<Kind::Addr6>;
using string_id = field_id<Kind::String>;
using message_id = field_id<Kind::Message>;
using raw_id = field_id<Kind::Raw>;
using u32_array_id = field_id<Kind::U32Array>;
using be32_array_id = field_id<Kind::U32Array, 1>;
using string_array_id = field_id<Kind::StringArray>;
using message_array_id = field_id<Kind::MessageArray>;

}  // namespace tn
