#include "agent/mib/objects.h"

namespace snmp {

std::map<OID, Object> objects;

std::string nameNote(const OID& name) {
    for (OID prefix = name; !prefix.empty(); prefix.pop_back()) {
        const auto at = objects.find(prefix);
        if (at == objects.end()) continue;
        const OID instance(name.data() + prefix.size(), name.data() + name.size());
        return " (" + std::string(at->second.name) + instance.str() + ")";
    }
    return {};
}

std::string pathText(std::span<const uint32_t> path) {
    std::string text;
    for (const uint32_t number : path) text += (text.empty() ? "{" : ", ") + std::to_string(number);
    return text + "}";
}

}  // namespace snmp
