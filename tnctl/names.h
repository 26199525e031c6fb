#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tnctl {

/// The name of a system field ("object-id"); empty for an owner's field. The text is static.
[[nodiscard]] std::string_view fieldName(uint32_t number);

/// A command typed as a name ("get-all") or as any 32-bit number; nothing for other texts.
[[nodiscard]] std::optional<uint32_t> parseCommand(std::string_view text);

/// The name of a command or notification that all owners share; empty for others. The text is static.
[[nodiscard]] std::string_view commandName(uint32_t command);

}  // namespace tnctl
