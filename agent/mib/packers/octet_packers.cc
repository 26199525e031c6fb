#include "agent/mib/packers/octet_packers.h"

#include <algorithm>
#include <span>

#include "agent/log.h"

namespace snmp {

namespace {

void addOctets(std::span<const uint8_t> octets, OID& name) { name.insert(name.end(), octets.begin(), octets.end()); }

std::string octetsOfIPv4(unsigned int address) {
    return {static_cast<char>(address >> 24), static_cast<char>(address >> 16), static_cast<char>(address >> 8),
            static_cast<char>(address)};
}

std::span<const uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

}  // namespace

void StringPacker::pack(Context& c, const Data* record) const { c.out.add(get(record), type_); }

bool StringPacker::unpack(Data* record, Context& c) const {
    std::string value;
    if (!c.in.getString(&value)) return false;
    tn::strangersErr << "unpacked s = " << value;  // compat: 110
    set(record, value);
    return true;
}

void StringPacker::addKeyToName(const Data* record, OID& name) const {
    const std::string value = get(record);
    if (keyLength_ != 0 && value.size() != keyLength_) {
        tn::strangersErr << "inconsistent key length";
        return;
    }
    if (keyLength_ == 0) name += static_cast<unsigned int>(value.size());
    addOctets(bytesOf(value), name);
}

bool StringPacker::addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const {
    OID piece;
    std::string value;
    if (keyLength_ == 0) {
        if (!key.popString(&piece) || !piece.asString(&value)) return false;
        insertKey(m, fieldId, value);
        return true;
    }
    if (!key.popString(keyLength_, &piece)) return false;
    const bool complete = piece.asString(keyLength_, &value);
    // compat: 26. Padded with zeros, a short index sorts before every row that begins with it.
    value.resize(keyLength_, '\0');
    insertKey(m, fieldId, value);
    return complete;
}

void StringPacker::addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const {
    insertKey(m, fieldId, get(record));
}

void StringPacker::insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const {
    m.insert_string(tn::string_id(fieldId), value);
}

void RawPacker::insertKey(tn::message& m, uint32_t fieldId, const std::string& value) const {
    std::string octets = value;
    if (keyLength_ != 0) octets.resize(keyLength_, '\0');
    m.insert_raw(tn::raw_id(fieldId), bytesOf(octets));
}

void IPPacker::pack(Context& c, const Data* record) const { c.out.add(octetsOfIPv4(get(record)), type_); }

bool IPPacker::unpack(Data* record, Context& c) const {
    std::string octets;
    if (!c.in.getString(&octets)) return false;
    if (octets.size() != 4) {
        tn::strangersErr << "bad ipv4 address";
        return false;
    }
    unsigned int value = 0;
    for (const char octet : octets) value = value << 8 | static_cast<uint8_t>(octet);
    set(record, value);
    return true;
}

void IPPacker::addKeyToName(const Data* record, OID& name) const {
    const unsigned int address = get(record);
    const unsigned int octets[] = {address >> 24, address >> 16 & 0xff, address >> 8 & 0xff, address & 0xff};
    name.insert(name.end(), std::begin(octets), std::end(octets));
}

bool IPPacker::addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const {
    OID piece;
    unsigned int value = 0;
    key.popIP(&piece);
    const bool complete = piece.asIP(&value);
    m.insert_be32(tn::be32_id(fieldId), value);
    return complete;
}

void IPPacker::addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const {
    m.insert_be32(tn::be32_id(fieldId), get(record));
}

void IP6Packer::pack(Context& c, const Data* record) const {
    const IPAddr6 address = get(record);
    c.out.add(address.octets().data(), static_cast<unsigned int>(address.octets().size()), type_);
}

bool IP6Packer::unpack(Data* record, Context& c) const {
    std::string octets;
    if (!c.in.getString(&octets)) return false;
    IPAddr6 value;
    if (octets.size() != value.octets().size()) {
        tn::strangersErr << "bad ipv6 address";
        return false;
    }
    std::copy(octets.begin(), octets.end(), value.octets().begin());
    set(record, value);
    return true;
}

void IP6Packer::addKeyToName(const Data* record, OID& name) const { addOctets(get(record).octets(), name); }

bool IP6Packer::addKeyToMessage(OID& key, tn::message& m, uint32_t fieldId) const {
    OID piece;
    IPAddr6 value;
    key.popIP6(&piece);
    const bool complete = piece.asIP6(&value);
    m.insert_addr6(tn::addr6_id(fieldId), value);
    return complete;
}

void IP6Packer::addKeyToMessage(const Data* record, tn::message& m, uint32_t fieldId) const {
    m.insert_addr6(tn::addr6_id(fieldId), get(record));
}

}  // namespace snmp
