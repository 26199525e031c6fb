#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tnctl {

/// The name of a system field ("object-id"); empty for any other number. Static storage.
[[nodiscard]] std::string_view fieldName(uint32_t number);

/// Parses a command: a name ("get-all") or any 32-bit number. nullopt for any other text.
[[nodiscard]] std::optional<uint32_t> parseCommand(std::string_view text);

/// The name of a command or notification that all owners share; empty for any other number. Static storage.
[[nodiscard]] std::string_view commandName(uint32_t command);

}  // namespace tnctl
