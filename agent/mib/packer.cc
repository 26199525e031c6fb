#include "agent/mib/packer.h"

namespace snmp {

bool ConstNumPacker::addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const {
    OID piece;
    if (!key.popUnsigned(&piece) || piece.front() != value_) return false;
    addKeyToMessage(nullptr, m, fieldId);
    return true;
}

void ConstNumPacker::addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const {
    if (fieldId != kNoField) NumPacker::addKeyToMessage(record, m, fieldId);
}

bool ConstOIDPacker::addKeyToMessage(OID& key, tn::message&, uint32_t) const {
    const OID expected = getAsKey(nullptr);
    if (!key.hasPrefix(expected)) return false;
    key.erase(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(expected.size()));
    return true;
}

}  // namespace snmp
