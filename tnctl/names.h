#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tnctl {

/// The name of a system field ("object-id"), empty for a field of an owner.
[[nodiscard]] std::string_view fieldName(uint32_t number);

/// A command by number or by name ("get-all"); nothing when it is neither.
[[nodiscard]] std::optional<uint32_t> parseCommand(std::string_view text);

/// The name of a command or notification every owner knows, empty for others.
[[nodiscard]] std::string_view commandName(uint32_t command);

}  // namespace tnctl
