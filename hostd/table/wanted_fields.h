#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "tn/message.h"

namespace hostd {

/// The fields of its rows that a get-all wants: those in tn::field::Fields, or all without it. Key fields are always
/// written and needn't be among them. Refers to the request, which must outlive this object.
class WantedFields {
  public:
    WantedFields() = default;  ///< all
    explicit WantedFields(const tn::message& request)
        : isAll_(!request.has(tn::field::Fields)), ids_(request.get_u32_array(tn::field::Fields)) {}

    [[nodiscard]] bool areAll() const { return isAll_; }
    template <tn::Kind K, int View>
    [[nodiscard]] bool has(tn::field_id<K, View> id) const {
        return isAll_ || std::ranges::find(ids_, id.full()) != ids_.end();
    }

    /// Whether a field of this kind is wanted.
    [[nodiscard]] bool hasAnyOf(tn::Kind kind) const {
        const auto isOfKind = [kind](uint32_t id) {
            return (id & ~tn::kFieldNumberMask) == static_cast<uint32_t>(kind);
        };
        return isAll_ || std::ranges::any_of(ids_, isOfKind);
    }

    /// Whether a field with a number in this range is wanted, of any kind.
    [[nodiscard]] bool hasAnyOf(uint32_t firstNumber, uint32_t lastNumber) const {
        const auto isInRange = [&](uint32_t id) {
            const uint32_t number = id & tn::kFieldNumberMask;
            return number >= firstNumber && number <= lastNumber;
        };
        return isAll_ || std::ranges::any_of(ids_, isInRange);
    }

  private:
    bool isAll_ = true;
    std::span<const uint32_t> ids_;
};

}  // namespace hostd
