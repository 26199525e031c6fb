#include "agent/mib/packers/number_packers.h"

namespace snmp {

void NumPacker::pack(Context& c, const Data* record) const { c.out.add(get(record), type_); }

bool NumPacker::unpack(Data* record, Context& c) const {
    unsigned int value = 0;
    if (!c.in.getInt(&value)) return false;
    set(record, value);
    return true;
}

void NumPacker::addKeyToName(const Data* record, OID& name) const { name += get(record); }

bool NumPacker::addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const {
    OID piece;
    unsigned int value = 0;
    if (!key.popUnsigned(&piece) || !piece.asUnsigned(&value)) return false;
    m.insert_u32(tn::u32_id(fieldId), value);
    return true;
}

void NumPacker::addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const {
    m.insert_u32(tn::u32_id(fieldId), get(record));
}

void BignumPacker::pack(Context& c, const Data* record) const { c.out.add(get(record), type_); }  // compat: 11

bool BignumPacker::unpack(Data* record, Context& c) const {
    unsigned long long value = 0;
    if (!c.in.get64(&value)) return false;
    set(record, value);
    return true;
}

void OIDPacker::pack(Context& c, const Data* record) const { c.out.addOID(get(record), type_); }

bool OIDPacker::unpack(Data* record, Context& c) const {
    OID value;
    if (!c.in.getOID(&value)) return false;
    set(record, value);
    return true;
}

void OIDPacker::addKeyToName(const Data* record, OID& name) const {
    const OID& value = get(record);
    name += static_cast<unsigned int>(value.size());
    name += value;
}

}  // namespace snmp
