#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace snmp {

/// Creates an object that lives as long as the process: a packer, provider, table or branch. This function owns it, in
/// one static list for each class, so that registries can hold plain pointers. Only for objects created at start:
/// nothing is ever removed.
/// @return never null; valid until static objects are destroyed at exit
template <class T, class... Args>
T* keep(Args&&... args) {
    static std::vector<std::unique_ptr<T>> kept;
    return kept.emplace_back(std::make_unique<T>(std::forward<Args>(args)...)).get();
}

}  // namespace snmp
