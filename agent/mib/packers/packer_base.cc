#include "agent/mib/packers/packer_base.h"

#include "agent/log.h"
#include "agent/mib/objects.h"

namespace snmp {

namespace {

enum class Kind { Number, Octets, Name, None };

Kind kindOf(uint8_t type) {
    switch (type) {
        case tag::Integer:
        case tag::Counter32:
        case tag::Gauge32:
        case tag::TimeTicks:
        case tag::Counter64:
        case tag::UInteger32:
            return Kind::Number;
        case tag::OctetString:
        case tag::BitString:
        case tag::IpAddress:
        case tag::Opaque:
            return Kind::Octets;
        case tag::ObjectIdentifier:
            return Kind::Name;
        default:
            return Kind::None;
    }
}

}  // namespace

bool Packer::take(Data* record, Context& c) const {
    const uint8_t given = c.in.getType();
    if (kindOf(given) == kindOf(type_)) return unpack(record, c);
    tn::strangersErr << "bad value type " << unsigned{given};
    return false;
}

ErrorStatus Packer::checkObject(const OID& object, Context& c) const {
    const auto described = objects.find(object);
    const bool isDescribed = described != objects.end();
    if (isDescribed && described->second.access == Access::ReadOnly) return ErrorStatus::NotWritable;
    if (c.in.getType() != type_) return ErrorStatus::WrongType;
    if (!isDescribed || type_ != tag::OctetString) return ErrorStatus::NoError;
    InStream::StreamPos value;
    c.in.saveSeq(value);
    std::string text;
    const bool isShort = c.in.getString(&text) && text.size() <= described->second.maxLength;
    c.in.restoreSeq(value);
    return isShort ? ErrorStatus::NoError : ErrorStatus::WrongLength;
}

void Packer::addKeyToName(const Data*, OID&) const { swarn << "BUG: Packer::getAsKey called"; }

OID Packer::getAsKey(const Data* record) const {
    OID key;
    addKeyToName(record, key);
    return key;
}

bool Packer::addKeyToMessage(OID&, tn::message&, uint32_t) const {
    swarn << "BUG: Packer::addKeyToMessage called";
    return false;
}

void Packer::addKeyToMessage(const Data*, tn::message&, uint32_t) const {
    swarn << "BUG: Packer::addKeyToMessage called";
}

}  // namespace snmp
