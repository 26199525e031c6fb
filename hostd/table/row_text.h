#pragma once

#include <string_view>

#include "tn/message.h"

namespace hostd {

/// Maximum octets of a text in a row. Devices and other programs may report longer texts, and a row must not exceed
/// OwnerTable::kMaxRowOctets.
constexpr size_t kMaxText = 500;

/// Inserts a text into a row, cut to kMaxText octets. An empty text is left out: the field is then absent.
inline void insertText(tn::message& row, tn::string_id field, std::string_view text) {
    if (!text.empty()) row.insert_string(field, std::string(text.substr(0, kMaxText)));
}

}  // namespace hostd
