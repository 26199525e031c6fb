#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace snmp {

/// Packers, providers, tables and branches are made at start and live as long as the process: they are kept here, by
/// one owner, so that registries hold plain pointers that only look.
/// @return never null; valid until the process ends
template <class T, class... Args>
T* keep(Args&&... args) {
    static std::vector<std::unique_ptr<T>> kept;
    return kept.emplace_back(std::make_unique<T>(std::forward<Args>(args)...)).get();
}

}  // namespace snmp
