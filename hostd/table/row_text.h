#pragma once

#include <string_view>

#include "tn/message.h"

namespace hostd {

/// Octets of a text that go into a row. Devices and other programs may report longer ones.
constexpr size_t kMaxText = 500;

/// Puts a text into a row, cut to kMaxText octets. An empty one is left out.
inline void insertText(tn::message& row, tn::string_id field, std::string_view text) {
    if (!text.empty()) row.insert_string(field, std::string(text.substr(0, kMaxText)));
}

}  // namespace hostd
