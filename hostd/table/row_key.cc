#include "hostd/table/row_key.h"

#include <algorithm>

namespace hostd {

namespace {

uint32_t numberOf(std::span<const uint8_t> place) {
    uint32_t value = 0;
    for (const uint8_t octet : place) value = value << 8 | octet;
    return value;
}

void putNumber(std::span<uint8_t> place, uint32_t value) {
    for (size_t i = place.size(); i-- > 0; value >>= 8) place[i] = static_cast<uint8_t>(value);
}

}  // namespace

bool KeyField::isIn(const tn::message& m) const {
    switch (kind_) {
        case Kind::U32:
        case Kind::Be32:
            return m.has(tn::u32_id(number_));
        case Kind::Addr6:
            return m.has(tn::addr6_id(number_));
        case Kind::Text:
            return m.has(tn::string_id(number_));
        case Kind::Raw:
            break;
    }
    return m.has(tn::raw_id(number_));
}

std::vector<uint8_t> KeyField::octetsIn(const tn::message& m) const {
    if (kind_ == Kind::Raw) return m.get_raw(tn::raw_id(number_));
    const std::string text = m.get_string(tn::string_id(number_));
    return {text.begin(), text.end()};
}

bool KeyField::read(const tn::message& m, std::span<uint8_t> place) const {
    switch (kind_) {
        case Kind::U32:
            putNumber(place, m.get_u32(tn::u32_id(number_)));
            return true;
        case Kind::Be32:
            putNumber(place, m.get_be32(tn::be32_id(number_)));
            return true;
        case Kind::Addr6: {
            const tn::IPAddr6 address = m.get_addr6(tn::addr6_id(number_));
            std::ranges::copy(address.octets(), place.begin());
            return true;
        }
        case Kind::Raw:
        case Kind::Text:
            break;
    }
    std::vector<uint8_t> octets = octetsIn(m);
    const auto value = place.subspan(isVariable_ ? 1 : 0);
    const bool fits = isVariable_ ? octets.size() <= value.size() : octets.size() == value.size();
    if (isVariable_) place[0] = fits ? static_cast<uint8_t>(octets.size()) : UINT8_MAX;
    octets.resize(value.size());
    std::ranges::copy(octets, value.begin());
    return fits;
}

void KeyField::write(std::span<const uint8_t> place, tn::message& m) const {
    const auto value = isVariable_ ? place.subspan(1, std::min<size_t>(place[0], place.size() - 1)) : place;
    switch (kind_) {
        case Kind::U32:
            return m.insert_u32(tn::u32_id(number_), numberOf(value));
        case Kind::Be32:
            return m.insert_be32(tn::be32_id(number_), numberOf(value));
        case Kind::Addr6: {
            tn::IPAddr6 address;
            std::ranges::copy(value, address.octets().begin());
            return m.insert_addr6(tn::addr6_id(number_), address);
        }
        case Kind::Text:
            return m.insert_string(tn::string_id(number_), {value.begin(), value.end()});
        case Kind::Raw:
            return m.insert_raw(tn::raw_id(number_), value);
    }
}

uint32_t RowKey::u32(size_t at) const { return numberOf(part(at, 4)); }

void RowKey::putU32(size_t at, uint32_t value) { putNumber(part(at, 4), value); }

bool RowKey::sharesFirst(size_t octets, const RowKey& other) const {
    return std::ranges::equal(part(0, octets), other.part(0, octets));
}

std::optional<RowKey> RowKey::pastFirst(size_t octets) const {
    RowKey next(size_);
    std::copy_n(octets_.begin(), octets, next.octets_.begin());
    for (size_t i = octets; i-- > 0;)
        if (++next.octets_[i] != 0) return next;
    return {};
}

void writeKey(std::span<const KeyField> fields, const RowKey& key, tn::message& m) {
    size_t at = 0;
    for (const KeyField& field : fields) {
        field.write(key.part(at, field.width()), m);
        at += field.width();
    }
}

}  // namespace hostd
