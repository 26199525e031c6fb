#pragma once

#include <string_view>

#include "tn/message.h"

namespace hostd {

/// A text that a device or another program tells, as long as it may be: so many octets go into a row.
constexpr size_t kMostText = 500;

/// Puts such a text into a row; an empty one is absent.
inline void insertText(tn::message& row, tn::string_id field, std::string_view text) {
    if (!text.empty()) row.insert_string(field, std::string(text.substr(0, kMostText)));
}

}  // namespace hostd
